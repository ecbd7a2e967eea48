#pragma once

#include "ui/settings/settings_page.h"

class QGroupBox;
class QLabel;
class QRadioButton;
class QSpinBox;

namespace quillo {

class HotkeyEdit;

/// The page of the hotkey: combination, mode and longest recording. User-interface thread.
class HotkeyTab final : public SettingsPage {
public:
    HotkeyTab();

    void setSettings(const SettingsData& settings) override;

    /// While a combination is awaited, the hotkey is the one from before.
    void collectSettings(SettingsData& settings) const override;

private:
    QGroupBox* buildHotkeyGroup();
    QGroupBox* buildModeGroup();
    void updateHotkeyWarning(const QString& hotkey);

    HotkeyEdit* hotkeyEdit_; // the widgets belong to their parents
    QLabel* hotkeyWarning_;
    QRadioButton* pushToTalkButton_;
    QRadioButton* toggleButton_;
    QLabel* maxDurationLabel_;
    QSpinBox* maxDurationSpinBox_;
};

} // namespace quillo
