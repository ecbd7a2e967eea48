#pragma once

#include "settings/settings_data.h"
#include "ui/settings/settings_services.h"

#include <functional>
#include <memory>
#include <string>

namespace quillo {

/// The program's handle on the settings window: shows it, saves and applies what the user confirms there, and keeps the
/// history of transcriptions.
///
/// User-interface thread, except addHistoryEntry. The setters are called before the first show(). Model manager and
/// audio capture are not owned, may be null, and must outlive the panel.
class SettingsPanel {
public:
    SettingsPanel();
    ~SettingsPanel(); ///< closes the window
    SettingsPanel(const SettingsPanel&) = delete;
    SettingsPanel& operator=(const SettingsPanel&) = delete;

    void setModelManager(model::ModelManager* modelManager);
    void setAudioCapture(AudioCapture* audioCapture);

    /// Receives the settings after each save by OK or Apply.
    void setOnSettingsApplied(std::function<void(const SettingsData&)> onSettingsApplied);
    void setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged);
    void setOnCloudTest(CloudTestCallback onCloudTest);

    /// Shows the window in front of the others, with the stored settings and history, whatever was edited before. The
    /// window is made at the first call and kept.
    void show();

    /// Destroys the window, which ends a test of the microphone. For an owner who destroys what the window uses first.
    void close();

    /// The stored settings, or their defaults.
    SettingsData loadSettings() const;

    /// Stores the settings, without applying them.
    void saveSettings(const SettingsData& settings);

    /// Adds a delivered text to the history. Any thread.
    void addHistoryEntry(const std::string& text);

private:
    void saveAndApply();

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo
