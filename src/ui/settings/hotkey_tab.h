#pragma once

#include "settings/settings_data.h"

#include <QWidget>

class QGroupBox;
class QLabel;
class QRadioButton;
class QSpinBox;

namespace quillo {

class HotkeyEdit;

/// The page of the hotkey: combination, mode and longest recording. User-interface thread.
class HotkeyTab final : public QWidget {
public:
    explicit HotkeyTab(QWidget* parent = nullptr);

    void setSettings(const SettingsData& settings);

    /// Overwrites the fields of this page. While a combination is awaited, the hotkey is the one from before.
    void collectSettings(SettingsData& settings) const;

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
