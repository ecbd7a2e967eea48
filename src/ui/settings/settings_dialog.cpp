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

namespace quillo {

SettingsDialog::SettingsDialog(const SettingsServices& services, const std::function<void()>& onApply)
    : tabs_(new QTabWidget)
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
    buildModelsTab(services);
    buildMicTab(services);
    buildHotkeyTab();
    buildCloudTab(services);
    buildHistoryTab();
    buildAppearanceTab();
    layout->addWidget(tabs_, 1);
    layout->addWidget(buildButtonBar(onApply), 0);
}

void SettingsDialog::buildModelsTab(const SettingsServices& services)
{
    addPage(new ModelsTab(services.modelManager, services.onActiveModelChanged));
}

void SettingsDialog::buildMicTab(const SettingsServices& services)
{
    addPage(new MicrophoneTab(services.audioCapture));
}

void SettingsDialog::buildHotkeyTab()
{
    addPage(new HotkeyTab);
}

void SettingsDialog::buildCloudTab(const SettingsServices& services)
{
    addPage(new CloudTab(services.onCloudTest));
}

void SettingsDialog::buildHistoryTab()
{
    historyTab_ = new HistoryTab(HistoryStore::clear);
    addPage(historyTab_);
}

void SettingsDialog::buildAppearanceTab()
{
    addPage(new AppearanceTab);
}

void SettingsDialog::addPage(SettingsPage* page)
{
    pages_.push_back(page);
    tabs_->addTab(page, ' ' + page->title() + ' '); // the spaces keep it apart from the edges of its tab
}

QWidget* SettingsDialog::buildButtonBar(const std::function<void()>& onApply)
{
    auto* bar = new QWidget;
    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(16, 8, 16, 0);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply);
    buttons->setObjectName("settingsButtons");
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(this, &QDialog::accepted, this, onApply);
    connect(buttons->button(QDialogButtonBox::Apply), &QPushButton::clicked, this, onApply);
    return bar;
}

void SettingsDialog::setSettings(const SettingsData& settings)
{
    for (SettingsPage* page : pages_)
        page->setSettings(settings);
}

void SettingsDialog::collectSettings(SettingsData& settings) const
{
    for (const SettingsPage* page : pages_)
        page->collectSettings(settings);
    settings.theme = "dark";
}

void SettingsDialog::setHistory(const std::vector<HistoryEntry>& history)
{
    historyTab_->setHistory(history);
}

} // namespace quillo
