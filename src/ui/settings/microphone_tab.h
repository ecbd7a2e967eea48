#pragma once

#include <QWidget>

namespace quillo {

class AudioCapture;

/// The page of the microphone: device, test, voice-activity sensitivity and sounds. User-interface thread.
class MicrophoneTab final : public QWidget {
public:
    explicit MicrophoneTab(QWidget* parent = nullptr);

    /// Fills the list of devices; the capture is not owned and may be null.
    void populateDevices(AudioCapture* audioCapture);

private:
    AudioCapture* audioCapture_ = nullptr;
};

} // namespace quillo
