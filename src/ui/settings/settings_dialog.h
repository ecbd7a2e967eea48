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

    void setSettings(const SettingsData& settings);

    /// Overwrites every field with what the tabs show.
    void collectSettings(SettingsData& settings) const;

    void setHistory(const std::vector<HistoryEntry>& history);

    void populateModels(model::ModelManager* modelManager);
    void populateDevices(AudioCapture* audioCapture);

    /// Runs when Apply is pressed. OK has the dialog's own signal, accepted.
    void setOnApply(std::function<void()> onApply);
    void setOnClearHistory(std::function<void()> onClearHistory);
    void setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged);
    void setOnCloudTest(CloudTestCallback onCloudTest);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildTabs();
    QWidget* buildButtonBar();

    QTabWidget* tabs_; // the widgets belong to their parents
    ModelsTab* modelsTab_;
    MicrophoneTab* microphoneTab_;
    HotkeyTab* hotkeyTab_;
    CloudTab* cloudTab_;
    HistoryTab* historyTab_;
    AppearanceTab* appearanceTab_;
    SettingsData settings_; ///< as given; the tabs show none of its fields yet
    std::function<void()> onApply_;
};

} // namespace quillo
