#include "ui/settings/settings_panel.h"

#include "history/history_store.h"
#include "settings/settings_store.h"
#include "ui/settings/settings_dialog.h"

#include <utility>

namespace quillo {

struct SettingsPanel::Impl {
    SettingsData settings;
    CloudTestCallback onCloudTest;
    ActiveModelCallback onActiveModelChanged;
    std::function<void(const SettingsData&)> onSettingsApplied;
    model::ModelManager* modelManager = nullptr;
    AudioCapture* audioCapture = nullptr;
    std::unique_ptr<SettingsDialog> dialog; ///< last, so that it goes before what it uses
};

SettingsPanel::SettingsPanel()
    : impl_(std::make_unique<Impl>())
{
}

SettingsPanel::~SettingsPanel() = default;

void SettingsPanel::setModelManager(model::ModelManager* modelManager)
{
    impl_->modelManager = modelManager;
}

void SettingsPanel::setAudioCapture(AudioCapture* audioCapture)
{
    impl_->audioCapture = audioCapture;
}

void SettingsPanel::setOnSettingsApplied(std::function<void(const SettingsData&)> onSettingsApplied)
{
    impl_->onSettingsApplied = std::move(onSettingsApplied);
}

void SettingsPanel::setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged)
{
    impl_->onActiveModelChanged = std::move(onActiveModelChanged);
}

void SettingsPanel::setOnCloudTest(CloudTestCallback onCloudTest)
{
    impl_->onCloudTest = std::move(onCloudTest);
}

void SettingsPanel::show()
{
    if (!impl_->dialog)
        createDialog();
    impl_->settings = loadSettings();
    impl_->dialog->setSettings(impl_->settings);
    impl_->dialog->setHistory(HistoryStore::load());
    impl_->dialog->show();
    impl_->dialog->raise();
    impl_->dialog->activateWindow();
}

void SettingsPanel::close()
{
    impl_->dialog.reset();
}

void SettingsPanel::createDialog()
{
    impl_->dialog = std::make_unique<SettingsDialog>();
    SettingsDialog& dialog = *impl_->dialog;
    const auto saveAndApply = [this] {
        impl_->dialog->collectSettings(impl_->settings);
        saveSettings(impl_->settings);
        if (impl_->onSettingsApplied)
            impl_->onSettingsApplied(impl_->settings);
    };
    QObject::connect(&dialog, &QDialog::accepted, &dialog, saveAndApply);
    dialog.setOnApply(saveAndApply);
    dialog.setOnCloudTest(impl_->onCloudTest);
    dialog.setOnActiveModelChanged(impl_->onActiveModelChanged);
    dialog.setOnClearHistory(HistoryStore::clear);
    dialog.populateModels(impl_->modelManager);
    dialog.setAudioCapture(impl_->audioCapture);
    dialog.refreshDevices();
}

SettingsData SettingsPanel::loadSettings() const
{
    return SettingsStore::load();
}

void SettingsPanel::saveSettings(const SettingsData& settings)
{
    impl_->settings = settings;
    SettingsStore::save(settings);
}

void SettingsPanel::addHistoryEntry(const std::string& text)
{
    HistoryStore::append(text);
}

} // namespace quillo
