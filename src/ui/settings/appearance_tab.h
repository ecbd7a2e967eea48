#pragma once

#include "settings/settings_data.h"

#include <QWidget>

class QComboBox;
class QGroupBox;
class QSlider;

namespace quillo {

/// The page of the overlay's place and opacity. User-interface thread.
class AppearanceTab final : public QWidget {
public:
    explicit AppearanceTab(QWidget* parent = nullptr);

    /// A place that is not in the list leaves the selection as it is; the opacity is cut to whole percents and to the
    /// slider's range.
    void setSettings(const SettingsData& settings);

    /// Overwrites the fields of this page.
    void collectSettings(SettingsData& settings) const;

private:
    QGroupBox* buildOverlayBox();

    QComboBox* positionCombo_; // the widgets belong to their parents
    QSlider* opacitySlider_;
};

} // namespace quillo
