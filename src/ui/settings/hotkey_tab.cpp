#include "ui/settings/hotkey_tab.h"

#include "hotkey/hotkey_availability.h"
#include "ui/settings/hotkey_edit.h"
#include "ui/settings/look.h"

#include <QButtonGroup>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace quillo {

HotkeyTab::HotkeyTab()
    : SettingsPage("hotkeyTab", "Hotkey")
    , hotkeyEdit_(new HotkeyEdit([this](const QString& hotkey) { updateHotkeyWarning(hotkey); }))
    , hotkeyWarning_(new QLabel)
    , pushToTalkButton_(new QRadioButton("Push-to-talk (hold hotkey to record)"))
    , toggleButton_(new QRadioButton("Toggle (press to start, press again to stop)"))
    , maxDurationLabel_(new QLabel("Max recording duration:"))
    , maxDurationSpinBox_(new QSpinBox)
{
    auto* layout = makeColumn("Hotkey", 16);
    layout->addWidget(buildHotkeyGroup());
    layout->addWidget(buildModeGroup());
    layout->addStretch(1);
}

QGroupBox* HotkeyTab::buildHotkeyGroup()
{
    hotkeyEdit_->setObjectName("hotkeyEdit");
    hotkeyEdit_->setAccessibleName("Activation hotkey");
    hotkeyWarning_->setObjectName("hotkeyWarning");
    hotkeyWarning_->setWordWrap(true);
    hotkeyWarning_->hide();

    auto* group = new QGroupBox("Activation Hotkey");
    auto* layout = new QVBoxLayout(group);
    layout->addWidget(hotkeyEdit_);
    layout->addWidget(hotkeyWarning_);
    return group;
}

QGroupBox* HotkeyTab::buildModeGroup()
{
    pushToTalkButton_->setObjectName("pushToTalkButton");
    pushToTalkButton_->setChecked(true);
    toggleButton_->setObjectName("toggleButton");
    auto* modes = new QButtonGroup(this);
    modes->addButton(pushToTalkButton_);
    modes->addButton(toggleButton_);

    maxDurationLabel_->setObjectName("maxDurationLabel");
    maxDurationLabel_->setBuddy(maxDurationSpinBox_);
    maxDurationLabel_->setEnabled(false);
    maxDurationSpinBox_->setObjectName("maxDurationSpinBox");
    maxDurationSpinBox_->setRange(1, 60);
    maxDurationSpinBox_->setSuffix(" min");
    maxDurationSpinBox_->setFixedWidth(100);
    maxDurationSpinBox_->setEnabled(false);
    connect(toggleButton_, &QRadioButton::toggled, maxDurationLabel_, &QWidget::setEnabled);
    connect(toggleButton_, &QRadioButton::toggled, maxDurationSpinBox_, &QWidget::setEnabled);

    auto* group = new QGroupBox("Recording Mode");
    auto* layout = new QVBoxLayout(group);
    layout->addWidget(pushToTalkButton_);
    layout->addWidget(toggleButton_);
    auto* duration = new QHBoxLayout;
    duration->addWidget(maxDurationLabel_);
    duration->addWidget(maxDurationSpinBox_);
    duration->addStretch(1);
    layout->addLayout(duration);
    return group;
}

void HotkeyTab::setSettings(const SettingsData& settings)
{
    const QString hotkey = QString::fromStdString(settings.hotkey);
    hotkeyEdit_->setHotkey(hotkey);
    updateHotkeyWarning(hotkey);
    (settings.toggleMode ? toggleButton_ : pushToTalkButton_)->setChecked(true);
    maxDurationSpinBox_->setValue(settings.maxRecordingMinutes);
}

void HotkeyTab::collectSettings(SettingsData& settings) const
{
    settings.hotkey = hotkeyEdit_->hotkey().trimmed().toStdString();
    settings.toggleMode = toggleButton_->isChecked();
    settings.maxRecordingMinutes = maxDurationSpinBox_->value();
}

// Shows under the field whether the combination can be expected to work.
void HotkeyTab::updateHotkeyWarning(const QString& hotkey)
{
    const auto warn = [this](const char* text, const char* color) {
        hotkeyWarning_->setText(text);
        hotkeyWarning_->setStyleSheet(
            QString("color: %1; font-size: 12px; padding: 4px 0; background: transparent;").arg(color));
        hotkeyWarning_->show();
        hotkeyEdit_->setAccessibleDescription(text);
    };
    switch (checkHotkeyAvailability(parseHotkey(hotkey.toStdString()))) {
    case HotkeyStatus::Available:
        hotkeyWarning_->hide();
        hotkeyEdit_->setAccessibleDescription({});
        break;
    case HotkeyStatus::ReservedBySystem:
        warn("⚠ This key combination is reserved by Windows and cannot be used.", color::error);
        break;
    case HotkeyStatus::RegisteredElsewhere:
        warn("⚠ This key combination may be registered by another application.", color::warning);
        break;
    }
}

} // namespace quillo
