#pragma once

#include <memory>

namespace quillo {

/// Owns every long-lived component, gives each its share of the stored settings, and connects them. Built once, after
/// the Qt application, on the user-interface thread, where all of it is used.
class Application {
public:
    /// Those of the main routine; with no arguments at all, no process is started to try the graphics processor.
    Application(int argc, char** argv);
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /// Shows the tray icon, arms the hotkey and runs the event loop; returns the loop's result. However the loop is
    /// left, a recording in progress has been finished and delivered.
    int run();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo
