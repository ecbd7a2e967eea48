#include "app/tray_controller.h"

#include "app/icon.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QMenu>
#include <QSystemTrayIcon>

#include <utility>

namespace quillo {

struct TrayController::Impl {
    std::unique_ptr<QMenu> buildMenu();

    // The icon and its menu are the first to go: their entries run the actions.
    std::function<void()> onSettings;
    std::function<void()> onQuit;
    std::unique_ptr<QSystemTrayIcon> trayIcon;
    std::unique_ptr<QMenu> menu;
};

std::unique_ptr<QMenu> TrayController::Impl::buildMenu()
{
    auto built = std::make_unique<QMenu>();
    built->setStyleSheet("QMenu::item:disabled { color: #5a5a70; }"); // the theme alone would not grey it out
    built->addAction("Start Dictation")->setEnabled(false); // says what the hotkey does, which is the only way to start
    built->addSeparator();
    QObject::connect(
        built->addAction("Settings..."), &QAction::triggered, built.get(),
        [this] {
            if (onSettings)
                onSettings();
        },
        Qt::DirectConnection);
    built->addAction("About Quillo");
    built->addSeparator();
    QObject::connect(
        built->addAction("Quit"), &QAction::triggered, built.get(),
        [this] {
            if (onQuit)
                onQuit();
            else
                QCoreApplication::quit();
        },
        Qt::DirectConnection);
    return built;
}

TrayController::TrayController()
    : impl_(std::make_unique<Impl>())
{
}

TrayController::~TrayController() = default;

void TrayController::setOnSettings(std::function<void()> onSettings)
{
    impl_->onSettings = std::move(onSettings);
}

void TrayController::setOnQuit(std::function<void()> onQuit)
{
    impl_->onQuit = std::move(onQuit);
}

void TrayController::show()
{
    if (impl_->trayIcon)
        return;
    impl_->menu = impl_->buildMenu();
    impl_->trayIcon = std::make_unique<QSystemTrayIcon>();
    impl_->trayIcon->setContextMenu(impl_->menu.get());
    const QIcon icon = programIcon();
    impl_->trayIcon->setIcon(icon);
    QGuiApplication::setWindowIcon(icon);
    impl_->trayIcon->setToolTip("Quillo - Dictation");
    impl_->trayIcon->show();
}

} // namespace quillo
