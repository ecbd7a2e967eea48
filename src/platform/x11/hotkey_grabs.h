#pragma once

#include "platform/keys.h"
#include "platform/x11/display.h"
#include "platform/x11/key_map.h"

#include <vector>

namespace quillo::platform::x11 {

/// The key grabs by which a connection can swallow one key combination: its main key with every modifier state that
/// has the required modifiers. Grabs that another client holds are left out, silently. Dropped with the connection.
/// They are put on record for the whole process: see grabbedHere() and isWatchedHere().
class HotkeyGrabs {
public:
    explicit HotkeyGrabs(Connection& connection)
        : connection_(connection)
    {
    }
    ~HotkeyGrabs();
    HotkeyGrabs(const HotkeyGrabs&) = delete;
    HotkeyGrabs& operator=(const HotkeyGrabs&) = delete;

    /// Replaces all grabs. Waits for the server.
    void take(const KeyMap& keys, const KeyCombination& combination);

    /// Adds, or drops again, the main key with all other modifier states, so that its repeats stay out of the
    /// applications whatever the modifiers do. Does not wait for the server.
    void takeEveryState();
    void dropOtherStates();

private:
    Connection& connection_;
    std::vector<unsigned> keycodes_;
    std::vector<unsigned> required_; // modifier states of the combination
    std::vector<unsigned> others_; // all other modifier states
    bool everyState_ = false;
};

/// Whether this process holds the grab of exactly this key and modifier state by a HotkeyGrabs. Any thread.
bool grabbedHere(unsigned keycode, unsigned state);

/// Whether this is a main key of this process's HotkeyGrabs, granted or not. Any thread.
bool isWatchedHere(unsigned keycode);

} // namespace quillo::platform::x11
