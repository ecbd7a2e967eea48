#pragma once

#include "history/history_store.h"
#include "settings/settings_data.h"
#include "ui/settings/settings_services.h"

#include <QDialog>

#include <functional>
#include <vector>

class QTabWidget;

namespace quillo {

class HistoryTab;
class SettingsPage;

/// The settings window: six pages above the buttons OK, Cancel and Apply. It stores nothing itself: who shows it fills
/// it and collects from it. User-interface thread.
class SettingsDialog final : public QDialog {
public:
    /// onApply runs when OK or Apply is pressed.
    SettingsDialog(const SettingsServices& services, const std::function<void()>& onApply);

    /// Shows the settings as far as the pages can.
    void setSettings(const SettingsData& settings);

    /// Overwrites every field with what the pages show. The theme, for which there is no widget, becomes "dark".
    void collectSettings(SettingsData& settings) const;

    void setHistory(const std::vector<HistoryEntry>& history);

private:
    void buildModelsTab(const SettingsServices& services);
    void buildMicTab(const SettingsServices& services);
    void buildHotkeyTab();
    void buildCloudTab(const SettingsServices& services);
    void buildHistoryTab();
    void buildAppearanceTab();
    void addPage(SettingsPage* page);
    QWidget* buildButtonBar(const std::function<void()>& onApply);

    QTabWidget* tabs_; // the widgets belong to their parents
    HistoryTab* historyTab_ = nullptr;
    std::vector<SettingsPage*> pages_;
};

} // namespace quillo
