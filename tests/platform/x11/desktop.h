#pragma once

#include "support/eventually.h"

#include <gtest/gtest.h> // before Xlib, whose macros it would not survive

#include <bitset>
#include <memory>
#include <string>

#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>

namespace quillo::platform {

using Connection = std::unique_ptr<Display, decltype(&XCloseDisplay)>;

/// Another program's connection to the private X server, which all tests of the process share.
Connection connect();

/// While it lives, new connections find no server.
class NoServer {
public:
    NoServer();
    ~NoServer();

private:
    std::string display_;
};

using test::eventually;

/// A user at the keyboard. Keys are named by keysym: "+Control_L +a -a -Control_L".
class Typist {
public:
    enum class Keyboard { XTest, Hardware };

    explicit Typist(Keyboard keyboard = Keyboard::XTest);
    /// Releases the keys that it still holds.
    ~Typist();

    /// A key that stays down repeats; "*" gives it the time. Returns when the server has taken the events.
    void type(const std::string& script);
    unsigned keycode(const std::string& keysym) const;
    Display* display() const { return display_.get(); }

private:
    void send(unsigned keycode, bool down);

    Connection display_;
    XDevice* device_ = nullptr; // null for XTest
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
