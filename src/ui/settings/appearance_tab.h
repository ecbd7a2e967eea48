#pragma once

#include "ui/settings/settings_page.h"

class QComboBox;
class QGroupBox;
class QSlider;

namespace quillo {

/// The page of the overlay's place and opacity. User-interface thread.
class AppearanceTab final : public SettingsPage {
public:
    AppearanceTab();

    void setSettings(const SettingsData& settings) override;
    void collectSettings(SettingsData& settings) const override;

private:
    QGroupBox* buildOverlayBox();

    QComboBox* positionCombo_; // the widgets belong to their parents
    QSlider* opacitySlider_;
};

} // namespace quillo
