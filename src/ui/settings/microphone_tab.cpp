#include "ui/settings/microphone_tab.h"

#include "audio/audio_capture.h"
#include "ui/settings/look.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QTimer>
#include <QToolTip>
#include <QVBoxLayout>

#include <chrono>

namespace quillo {
namespace {

constexpr std::chrono::milliseconds levelInterval(16); // a picture
constexpr std::chrono::milliseconds decayInterval(50);
constexpr int decayStep = 2;

QString micTestButtonStyle()
{
    return primaryButtonStyle(6, 13)
        + QString("QPushButton:checked { background-color: %1; }QPushButton:checked:hover { background-color: %2; }")
              .arg(color::stop, color::stopHover);
}

} // namespace

MicrophoneTab::MicrophoneTab(AudioCapture* audioCapture)
    : SettingsPage("microphoneTab", "Mic")
    , deviceCombo_(new QComboBox)
    , refreshButton_(new QPushButton("Refresh"))
    , micTestButton_(new QPushButton)
    , levelMeter_(new QProgressBar)
    , micStatusLabel_(new QLabel)
    , vadSlider_(new QSlider(Qt::Horizontal))
    , soundOnStartCheck_(new QCheckBox("Play sound when recording starts"))
    , soundOnCompleteCheck_(new QCheckBox("Play sound when text is pasted"))
    , meterDecayTimer_(new QTimer(this))
    , levelTimer_(new QTimer(this))
    , audioCapture_(audioCapture)
{
    auto* layout = makeColumn("Microphone", 14);
    layout->addWidget(buildDeviceGroup());
    layout->addWidget(buildTestGroup());
    layout->addWidget(buildVadGroup());
    layout->addWidget(buildSoundGroup());
    layout->addStretch();

    meterDecayTimer_->setObjectName("meterDecayTimer");
    meterDecayTimer_->setInterval(decayInterval);
    connect(meterDecayTimer_, &QTimer::timeout, this, &MicrophoneTab::decayMeter);
    levelTimer_->setObjectName("levelTimer");
    levelTimer_->setInterval(levelInterval);
    connect(levelTimer_, &QTimer::timeout, this, &MicrophoneTab::showLevel);
    showIdle();
    refreshDevices();
}

MicrophoneTab::~MicrophoneTab()
{
    stopMicTest();
}

QWidget* MicrophoneTab::buildDeviceGroup()
{
    deviceCombo_->setObjectName("deviceCombo");
    deviceCombo_->setAccessibleName("Input device");
    deviceCombo_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // A long name must not widen the window, but can be read.
    deviceCombo_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    connect(deviceCombo_, &QComboBox::currentTextChanged, deviceCombo_, &QWidget::setToolTip);
    connect(deviceCombo_, &QComboBox::activated, this, &MicrophoneTab::testShownDevice);

    refreshButton_->setObjectName("refreshButton");
    refreshButton_->setMinimumWidth(80);
    fixHeight(refreshButton_, 30);
    connect(refreshButton_, &QPushButton::clicked, this, &MicrophoneTab::rereadDevices);

    auto* group = new QGroupBox("Input Device");
    auto* layout = new QHBoxLayout(group);
    layout->setSpacing(8);
    layout->addWidget(deviceCombo_);
    layout->addWidget(refreshButton_);
    return group;
}

QWidget* MicrophoneTab::buildTestGroup()
{
    micTestButton_->setObjectName("micTestButton");
    micTestButton_->setCheckable(true);
    fixHeight(micTestButton_, 36);
    micTestButton_->setStyleSheet(micTestButtonStyle());
    connect(micTestButton_, &QPushButton::toggled, this, [this](bool checked) {
        if (checked)
            startMicTest();
        else
            stopMicTest();
    });

    levelMeter_->setObjectName("levelMeter");
    levelMeter_->setAccessibleName("Microphone level");
    levelMeter_->setRange(0, 100);
    levelMeter_->setTextVisible(false);
    fixHeight(levelMeter_, 16);
    levelMeter_->setProperty("class", "vu-meter");

    micStatusLabel_->setObjectName("micStatusLabel");
    micStatusLabel_->setAlignment(Qt::AlignCenter);

    auto* group = new QGroupBox("Microphone Test");
    auto* layout = new QVBoxLayout(group);
    layout->setSpacing(10);
    layout->addWidget(micTestButton_);
    layout->addWidget(levelMeter_);
    layout->addWidget(micStatusLabel_);
    return group;
}

QWidget* MicrophoneTab::buildVadGroup()
{
    vadSlider_->setObjectName("vadSlider");
    vadSlider_->setAccessibleName("Voice activity sensitivity");
    vadSlider_->setAccessibleDescription("0 is sensitive, 100 is aggressive");
    vadSlider_->setRange(0, 100);
    vadSlider_->setValue(50);

    auto* group = new QGroupBox("Voice Activity Detection");
    auto* layout = new QVBoxLayout(group);
    auto* row = new QHBoxLayout;
    layout->addLayout(row);
    row->addWidget(makeLabel("secondary", "Sensitive"));
    row->addWidget(vadSlider_, 1);
    row->addWidget(makeLabel("secondary", "Aggressive"));
    return group;
}

QWidget* MicrophoneTab::buildSoundGroup()
{
    soundOnStartCheck_->setObjectName("soundOnStartCheck");
    soundOnStartCheck_->setChecked(true);
    soundOnCompleteCheck_->setObjectName("soundOnCompleteCheck");
    soundOnCompleteCheck_->setChecked(true);

    auto* group = new QGroupBox("Sound Feedback");
    auto* layout = new QVBoxLayout(group);
    layout->addWidget(soundOnStartCheck_);
    layout->addWidget(soundOnCompleteCheck_);
    return group;
}

void MicrophoneTab::setSettings(const SettingsData& settings)
{
    soundOnStartCheck_->setChecked(settings.soundOnStart);
    soundOnCompleteCheck_->setChecked(settings.soundOnComplete);
    showFraction(*vadSlider_, settings.vadSensitivity);
    selectData(*deviceCombo_, audioCapture_ ? audioCapture_->listedId(settings.inputDeviceId) : settings.inputDeviceId);
    testShownDevice();
}

void MicrophoneTab::collectSettings(SettingsData& settings) const
{
    settings.inputDeviceId = selectedData(*deviceCombo_);
    settings.vadSensitivity = shownFraction(*vadSlider_);
    settings.soundOnStart = soundOnStartCheck_->isChecked();
    settings.soundOnComplete = soundOnCompleteCheck_->isChecked();
}

void MicrophoneTab::refreshDevices()
{
    deviceCombo_->clear();
    deviceCombo_->addItem("System Default", QString(""));
    if (!audioCapture_)
        return;
    for (const auto& [id, name] : audioCapture_->listInputDevices())
        deviceCombo_->addItem(QString::fromStdString(name), QString::fromStdString(id));
    testShownDevice();
}

void MicrophoneTab::rereadDevices()
{
    const bool testing = micTestButton_->isChecked();
    micTestButton_->setChecked(false); // a running test would prevent it
    const bool renewed = !audioCapture_ || audioCapture_->refreshDevices();
    refreshDevices();
    micTestButton_->setChecked(testing);
    refreshButton_->setToolTip(
        renewed ? "" : "The list may be out of date: the microphone is in use or does not answer");
    QToolTip::showText(refreshButton_->mapToGlobal(refreshButton_->rect().bottomLeft()), refreshButton_->toolTip());
}

void MicrophoneTab::testShownDevice()
{
    if (micTestButton_->isChecked() && testedDevice_ != selectedData(*deviceCombo_))
        startMicTest();
}

void MicrophoneTab::startMicTest()
{
    if (!audioCapture_)
        return failMicTest("No audio backend available");
    testedDevice_ = selectedData(*deviceCombo_);
    // The audio thread only leaves its latest level behind: a device may deliver faster than they could be shown.
    if (!audioCapture_->startTest(testedDevice_, [this](int level) { latestLevel_ = level; }))
        return failMicTest("Failed to open audio device");
    micTestButton_->setText("Stop Test");
    showMicStatus("Speak into your microphone...", color::success);
    meterDecayTimer_->start();
    levelTimer_->start();
}

void MicrophoneTab::stopMicTest()
{
    if (audioCapture_)
        audioCapture_->stopTest();
    latestLevel_ = noLevel;
    meterDecayTimer_->stop();
    levelTimer_->stop();
    showIdle();
}

void MicrophoneTab::failMicTest(const QString& reason)
{
    micTestButton_->setChecked(false); // resets the page, so it comes before the message
    showMicStatus(reason, color::error);
}

void MicrophoneTab::showIdle()
{
    levelMeter_->setValue(0);
    micTestButton_->setText("Test Microphone");
    showMicStatus("Click to test your microphone", color::faintText);
}

void MicrophoneTab::showMicStatus(const QString& text, const char* color)
{
    micStatusLabel_->setText(text);
    micTestButton_->setAccessibleDescription(text);
    micStatusLabel_->setStyleSheet(textStyle(color));
}

void MicrophoneTab::showLevel()
{
    if (const int level = latestLevel_.exchange(noLevel); level != noLevel)
        levelMeter_->setValue(level);
}

void MicrophoneTab::decayMeter()
{
    if (levelMeter_->value() > 0)
        levelMeter_->setValue(levelMeter_->value() - decayStep);
}

void MicrophoneTab::hideEvent(QHideEvent* event)
{
    micTestButton_->setChecked(false);
    QWidget::hideEvent(event);
}

} // namespace quillo
