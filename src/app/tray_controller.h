#pragma once

#include <functional>
#include <memory>

namespace quillo {

/// The icon in the system tray with its menu: the program's only permanent presence on the screen.
///
/// User-interface thread only. Without a system tray the icon is not visible; it appears when a tray comes.
class TrayController {
public:
    TrayController();
    ~TrayController(); ///< takes the icon away
    TrayController(const TrayController&) = delete;
    TrayController& operator=(const TrayController&) = delete;

    /// Runs when the user chooses "Settings...".
    void setOnSettings(std::function<void()> onSettings);

    /// Runs when the user chooses "Quit", and has to end the program. Without it the event loop ends at once.
    void setOnQuit(std::function<void()> onQuit);

    /// Puts the icon into the tray, and makes it the icon of the program's windows. Further calls do nothing.
    void show();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo
