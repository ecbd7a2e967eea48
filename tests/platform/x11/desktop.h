#pragma once

#include "stand_ins/eventually.h"

#include <gtest/gtest.h> // before Xlib, whose macros it would not survive

#include "desktop/typist.h"

#include <bitset>
#include <cstdlib>
#include <memory>
#include <string>

namespace quillo::platform {

using test::eventually;
using Connection = std::unique_ptr<Display, decltype(&XCloseDisplay)>;

/// Another program's connection to the private X server, which all tests of the process share.
Connection connect();

/// While it lives, new connections find no server.
struct NoServer {
    NoServer() { setenv("DISPLAY", "nowhere:0", 1); }
    ~NoServer() { setenv("DISPLAY", display.c_str(), 1); }
    const std::string display = XDisplayName(nullptr);
};

/// A user at the keyboard. Keys are named by keysym: "+Control_L +a -a -Control_L".
class User {
public:
    using Keyboard = desktop::Typist::Keyboard;

    explicit User(Keyboard keyboard = Keyboard::XTest)
        : keyboard_(keyboard)
    {
    }
    /// Releases the keys that are still held.
    ~User();

    /// A key that stays down repeats; "*" gives it the time. Returns when the server has taken the events.
    void type(const std::string& script);
    void send(unsigned keycode, bool down);
    unsigned keycode(const std::string& keysym) const { return typist_.keycode(keysym); }
    Display* display() const { return display_.get(); }

private:
    Connection display_ = connect();
    desktop::Typist typist_{display()};
    Keyboard keyboard_;
    std::bitset<256> down_;
};

/// Another program's window, which has the focus and records the keys that it gets in the same notation. Repeats of a
/// key that it has seen go down are left out.
class Application {
public:
    Application();

    /// The keys seen since they were taken last.
    const std::string& keys();
    /// Waits until these keys are the last ones, and takes all.
    std::string takeKeysUntil(const std::string& end);

private:
    void note(const XKeyEvent& event);

    Connection display_;
    Window window_;
    std::bitset<256> down_;
    std::string keys_;
};

} // namespace quillo::platform
