#include "ui/settings/settings_dialog.h"

#include "ui/settings/appearance_tab.h"
#include "ui/settings/cloud_tab.h"
#include "ui/settings/history_tab.h"
#include "ui/settings/hotkey_tab.h"
#include "ui/settings/microphone_tab.h"
#include "ui/settings/models_tab.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

#include <utility>

namespace quillo {

SettingsDialog::SettingsDialog(QWidget* parent)
    : QDialog(parent)
    , tabs_(new QTabWidget)
{
    setObjectName("settingsDialog");
    setWindowTitle("Quillo Settings");
    setMinimumSize(540, 580);
    resize(580, 640);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 12);
    layout->setSpacing(0);
    tabs_->setObjectName("settingsTabs");
    tabs_->setAccessibleName("Settings");
    tabs_->setDocumentMode(true);
    tabs_->tabBar()->setDrawBase(false); // a white line under the dark style
    buildModelsTab();
    buildMicTab();
    buildHotkeyTab();
    buildCloudTab();
    buildHistoryTab();
    buildAppearanceTab();
    layout->addWidget(tabs_, 1);
    layout->addWidget(buildButtonBar(), 0);
}

SettingsDialog::~SettingsDialog() = default;

// The spaces keep the titles apart from the edges of their tabs.

void SettingsDialog::buildModelsTab()
{
    modelsTab_ = new ModelsTab;
    tabs_->addTab(modelsTab_, " Models ");
}

void SettingsDialog::buildMicTab()
{
    microphoneTab_ = new MicrophoneTab;
    tabs_->addTab(microphoneTab_, " Mic ");
}

void SettingsDialog::buildHotkeyTab()
{
    hotkeyTab_ = new HotkeyTab;
    tabs_->addTab(hotkeyTab_, " Hotkey ");
}

void SettingsDialog::buildCloudTab()
{
    cloudTab_ = new CloudTab;
    tabs_->addTab(cloudTab_, " Cloud ");
}

void SettingsDialog::buildHistoryTab()
{
    historyTab_ = new HistoryTab;
    tabs_->addTab(historyTab_, " History ");
}

void SettingsDialog::buildAppearanceTab()
{
    appearanceTab_ = new AppearanceTab;
    tabs_->addTab(appearanceTab_, " Style ");
}

QWidget* SettingsDialog::buildButtonBar()
{
    auto* bar = new QWidget;
    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(16, 8, 16, 0);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply);
    buttons->setObjectName("settingsButtons");
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons->button(QDialogButtonBox::Apply), &QPushButton::clicked, this, [this] {
        if (onApply_)
            onApply_();
    });
    return bar;
}

void SettingsDialog::setSettings(const SettingsData& settings)
{
    hotkeyTab_->setSettings(settings);
    microphoneTab_->setSettings(settings);
    cloudTab_->setSettings(settings);
    appearanceTab_->setSettings(settings);
}

void SettingsDialog::collectSettings(SettingsData& settings) const
{
    hotkeyTab_->collectSettings(settings);
    microphoneTab_->collectSettings(settings);
    cloudTab_->collectSettings(settings);
    settings.theme = "dark";
    appearanceTab_->collectSettings(settings);
}

void SettingsDialog::setHistory(const std::vector<HistoryEntry>& history)
{
    historyTab_->setHistory(history);
}

void SettingsDialog::populateModels(model::ModelManager* modelManager)
{
    modelsTab_->populateModels(modelManager);
}

void SettingsDialog::setAudioCapture(AudioCapture* audioCapture)
{
    microphoneTab_->setAudioCapture(audioCapture);
}

void SettingsDialog::refreshDevices()
{
    microphoneTab_->refreshDevices();
}

void SettingsDialog::setOnApply(std::function<void()> onApply)
{
    onApply_ = std::move(onApply);
}

void SettingsDialog::setOnClearHistory(std::function<void()> onClearHistory)
{
    historyTab_->setOnClearHistory(std::move(onClearHistory));
}

void SettingsDialog::setOnActiveModelChanged(ActiveModelCallback onActiveModelChanged)
{
    modelsTab_->setOnActiveModelChanged(std::move(onActiveModelChanged));
}

void SettingsDialog::setOnCloudTest(const CloudTestCallback& onCloudTest)
{
    cloudTab_->setOnCloudTest(onCloudTest);
}

void SettingsDialog::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    modelsTab_->updateModelsPathLabel();
}

} // namespace quillo
