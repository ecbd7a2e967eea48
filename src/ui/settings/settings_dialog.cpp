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
    , modelsTab_(new ModelsTab)
    , microphoneTab_(new MicrophoneTab)
    , hotkeyTab_(new HotkeyTab)
    , cloudTab_(new CloudTab)
    , historyTab_(new HistoryTab)
    , appearanceTab_(new AppearanceTab)
{
    setObjectName("settingsDialog");
    setWindowTitle("Quillo Settings");
    setMinimumSize(540, 580);
    resize(580, 640);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 12);
    layout->setSpacing(0);
    buildTabs();
    layout->addWidget(tabs_, 1);
    layout->addWidget(buildButtonBar(), 0);
}

SettingsDialog::~SettingsDialog() = default;

void SettingsDialog::buildTabs()
{
    tabs_->setObjectName("settingsTabs");
    tabs_->setAccessibleName("Settings");
    tabs_->setDocumentMode(true);
    tabs_->tabBar()->setDrawBase(false); // a white line under the dark style
    // The spaces keep the titles apart from the edges of their tabs.
    tabs_->addTab(modelsTab_, " Models ");
    tabs_->addTab(microphoneTab_, " Mic ");
    tabs_->addTab(hotkeyTab_, " Hotkey ");
    tabs_->addTab(cloudTab_, " Cloud ");
    tabs_->addTab(historyTab_, " History ");
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
    settings_ = settings;
}

void SettingsDialog::collectSettings(SettingsData& settings) const
{
    settings = settings_;
    settings.theme = "dark"; // there is no other
}

void SettingsDialog::setHistory(const std::vector<HistoryEntry>& history)
{
    historyTab_->setHistory(history);
}

void SettingsDialog::populateModels(model::ModelManager* modelManager)
{
    modelsTab_->populateModels(modelManager);
}

void SettingsDialog::populateDevices(AudioCapture* audioCapture)
{
    microphoneTab_->populateDevices(audioCapture);
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

void SettingsDialog::setOnCloudTest(CloudTestCallback onCloudTest)
{
    cloudTab_->setOnCloudTest(std::move(onCloudTest));
}

void SettingsDialog::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    modelsTab_->updateModelsPathLabel();
}

} // namespace quillo
