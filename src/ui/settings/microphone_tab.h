#pragma once

#include "ui/settings/settings_page.h"

#include <atomic>
#include <string>

class QCheckBox;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QSlider;
class QTimer;

namespace quillo {

class AudioCapture;

/// The page of the microphone: device, test, voice-activity sensitivity and sounds. User-interface thread.
///
/// The test listens to the device that the page shows, saved or not, and follows it to another. It ends when the page
/// is no longer seen: with its window closed or minimised, or another page in front.
class MicrophoneTab final : public SettingsPage {
public:
    /// audioCapture is where the devices and the test come from: not owned, may be null, must outlive the page.
    explicit MicrophoneTab(AudioCapture* audioCapture);
    ~MicrophoneTab() override; ///< ends the test

    void setSettings(const SettingsData& settings) override;
    void collectSettings(SettingsData& settings) const override;

protected:
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* buildDeviceGroup();
    QWidget* buildTestGroup();
    QWidget* buildVadGroup();
    QWidget* buildSoundGroup();

    void refreshDevices();
    void rereadDevices();
    void testShownDevice();
    void startMicTest();
    void stopMicTest();
    void failMicTest(const QString& reason);
    void showIdle();
    void showMicStatus(const QString& text, const char* color);
    void showLevel();
    void decayMeter();

    // In reading order; they belong to their parents.
    QComboBox* deviceCombo_;
    QPushButton* refreshButton_;
    QPushButton* micTestButton_;
    QProgressBar* levelMeter_;
    QLabel* micStatusLabel_;
    QSlider* vadSlider_;
    QCheckBox* soundOnStartCheck_;
    QCheckBox* soundOnCompleteCheck_;
    QTimer* meterDecayTimer_;
    QTimer* levelTimer_;

    AudioCapture* const audioCapture_;
    std::string testedDevice_; ///< its identifier, while a test runs
    static constexpr int noLevel = -1;
    std::atomic<int> latestLevel_ = noLevel; ///< heard but not shown yet
};

} // namespace quillo
