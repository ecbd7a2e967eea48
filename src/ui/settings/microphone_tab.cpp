#include "ui/settings/microphone_tab.h"

namespace quillo {

MicrophoneTab::MicrophoneTab(QWidget* parent)
    : QWidget(parent)
{
    setObjectName("microphoneTab");
    setAccessibleName("Mic");
}

void MicrophoneTab::populateDevices(AudioCapture* audioCapture)
{
    audioCapture_ = audioCapture;
}

} // namespace quillo
