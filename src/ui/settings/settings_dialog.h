#pragma once

#include "history/history_store.h"
#include "settings/settings_data.h"
#include "ui/settings/settings_callbacks.h"

#include <QDialog>

#include <functional>
#include <vector>

class QTabWidget;

namespace quillo {

class AppearanceTab;
class AudioCapture;
class CloudTab;
class HistoryTab;
class HotkeyTab;
class MicrophoneTab;
class ModelsTab;

namespace model {
class ModelManager;
}

/// The settings window: six tabs, each a class of its own, above the buttons OK, Cancel and Apply. It stores nothing
/// itself: who shows it fills it and collects from it.
///
/// User-interface thread. What it is given is not owned, may be null, and must outlive it.
class SettingsDialog final : public QDialog {
public:
    explicit SettingsDialog(QWidget* parent = nullptr);
    ~SettingsDialog() override;

    /// Shows the settings as far as the tabs can: what is out of a widget's range becomes the nearest bound, and a
    /// choice that a list does not offer leaves its selection as it is.
    void setSettings(const SettingsData& settings);

    /// Overwrites every field with what the tabs show. The theme, for which there is no widget, becomes "dark".
    void collectSettings(SettingsData& settings) const;

    void setHistory(const std::vector<HistoryEntry>& history);

    void populateModels(model::ModelManager* modelManager);
    void setAudioCapture(AudioCapture* audioCapture);
    void refreshDevices();

    /// Runs when Apply is pressed. OK has the dialog's own signal, accepted.
    void setOnApply(std::function<void()> onApply);
    void setOnClearHistory(std::function<void()> onClearHistory);
    void setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged);
    void setOnCloudTest(const CloudTestCallback& onCloudTest);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildModelsTab();
    void buildMicTab();
    void buildHotkeyTab();
    void buildCloudTab();
    void buildHistoryTab();
    void buildAppearanceTab();
    QWidget* buildButtonBar();

    QTabWidget* tabs_; // the widgets belong to their parents
    ModelsTab* modelsTab_ = nullptr;
    MicrophoneTab* microphoneTab_ = nullptr;
    HotkeyTab* hotkeyTab_ = nullptr;
    CloudTab* cloudTab_ = nullptr;
    HistoryTab* historyTab_ = nullptr;
    AppearanceTab* appearanceTab_ = nullptr;
    std::function<void()> onApply_;
};

} // namespace quillo
