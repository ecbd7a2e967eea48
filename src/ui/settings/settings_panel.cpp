#include "ui/settings/settings_panel.h"

#include "history/history_store.h"
#include "settings/settings_store.h"
#include "ui/settings/settings_dialog.h"

#include <utility>

namespace quillo {

struct SettingsPanel::Impl {
    SettingsServices services;
    std::function<void(const SettingsData&)> onSettingsApplied;
    std::unique_ptr<SettingsDialog> dialog; ///< last, so that it goes before what it uses
};

SettingsPanel::SettingsPanel()
    : impl_(std::make_unique<Impl>())
{
}

SettingsPanel::~SettingsPanel() = default;

void SettingsPanel::setModelManager(model::ModelManager* modelManager)
{
    impl_->services.modelManager = modelManager;
}

void SettingsPanel::setAudioCapture(AudioCapture* audioCapture)
{
    impl_->services.audioCapture = audioCapture;
}

void SettingsPanel::setOnSettingsApplied(std::function<void(const SettingsData&)> onSettingsApplied)
{
    impl_->onSettingsApplied = std::move(onSettingsApplied);
}

void SettingsPanel::setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged)
{
    impl_->services.onActiveModelChanged = std::move(onActiveModelChanged);
}

void SettingsPanel::setOnCloudTest(CloudTestCallback onCloudTest)
{
    impl_->services.onCloudTest = std::move(onCloudTest);
}

void SettingsPanel::show()
{
    if (!impl_->dialog)
        impl_->dialog = std::make_unique<SettingsDialog>(impl_->services, [this] { saveAndApply(); });
    impl_->dialog->setSettings(loadSettings());
    impl_->dialog->setHistory(HistoryStore::load());
    impl_->dialog->show();
    impl_->dialog->raise();
    impl_->dialog->activateWindow();
}

void SettingsPanel::close()
{
    impl_->dialog.reset();
}

void SettingsPanel::saveAndApply()
{
    SettingsData settings;
    impl_->dialog->collectSettings(settings);
    saveSettings(settings);
    if (impl_->onSettingsApplied)
        impl_->onSettingsApplied(settings);
}

SettingsData SettingsPanel::loadSettings() const
{
    return SettingsStore::load();
}

void SettingsPanel::saveSettings(const SettingsData& settings)
{
    SettingsStore::save(settings);
}

void SettingsPanel::addHistoryEntry(const std::string& text)
{
    HistoryStore::append(text);
}

} // namespace quillo
