#pragma once

#include "platform/keyboard_hook.h"
#include "platform/x11/display.h"
#include "platform/x11/event_fd.h"
#include "platform/x11/hotkey_grabs.h"
#include "platform/x11/key_map.h"

#include <array>
#include <atomic>
#include <bitset>

namespace quillo::platform::x11 {

/// One installed keyboard hook, on a connection of its own that is closed with it. Used by one thread.
///
/// Two streams of events complement each other. Raw events tell of every key of the desktop, but cannot be swallowed,
/// and the server withholds them while this connection has the keyboard grabbed. The grabs of the watched combination
/// divert its main key, and while one is active every other key, to this connection alone; the keyboard then stands
/// still after each event until it is either swallowed or replayed to the application. The press that activates a grab
/// comes both ways.
class KeyWatch {
public:
    KeyWatch(const KeyCombination& watched, KeyboardHook::Handler handler);

    /// errno of a failed start, else 0.
    int error() const { return error_; }

    /// Delivers events until `running` is clear or the connection is lost.
    void run(const std::atomic<bool>& running, const EventFd& wake);

    bool isDown(std::uint32_t virtualKey) const;

private:
    // What became of the physical press of a main key.
    enum class Press : std::uint8_t {
        Free, // up, or the application's own
        Swallowed,
        Spent, // swallowed, but a modifier came up first: no more repeats to anyone, then its key-up to the application
    };

    int start();
    void dispatch(XEvent& event);
    void onRaw(const XEvent& event);
    void onDiverted(const XKeyEvent& event);
    void reloadKeys();

    bool deliver(unsigned keycode, bool down);
    bool ask(std::uint32_t virtualKey, bool down);
    void afterUp(unsigned keycode);
    bool any(Press press) const;
    void swallow(const XKeyEvent& event);
    void passOn(const XKeyEvent& event);
    void holdKeyboard(Time time);

    KeyCombination watched_;
    KeyboardHook::Handler handler_;
    Connection connection_;
    HotkeyGrabs grabs_{connection_};
    KeyMap keys_;
    int xinput_ = 0; // major opcode of the input extension
    int xkb_ = 0; // event code of the keyboard extension
    std::bitset<keycodeCount> down_;
    std::array<Press, keycodeCount> presses_{};
    unsigned eventState_ = 0; // modifier state of the diverted event that is being delivered
    unsigned grabKey_ = 0; // the key whose grab is active and ends with its key-up; 0 for none
    bool holdsKeyboard_ = false; // by a grab that lasts until it is given up
    int error_; // last, because starting fills the others
};

} // namespace quillo::platform::x11
