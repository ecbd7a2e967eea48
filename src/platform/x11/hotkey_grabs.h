#pragma once

#include "platform/keys.h"
#include "platform/x11/display.h"
#include "platform/x11/key_map.h"

#include <vector>

namespace quillo::platform::x11 {

/// The key grabs by which a connection can swallow one key combination: its main key with every modifier state that
/// has the required modifiers. Grabs that another client holds are left out, silently. Dropped with the connection.
/// The grabs are put on record for the whole process, see grabbedHere().
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

    /// Puts on record whether the user holds the combination, see hotkeyHeldHere().
    void noteHeld(bool held);

private:
    Connection& connection_;
    std::vector<unsigned> keycodes_;
    std::vector<unsigned> required_; // modifier states of the combination
    std::vector<unsigned> others_; // all other modifier states
    bool everyState_ = false;
};

/// Whether this process holds the grab of exactly this key and modifier state by a HotkeyGrabs. Any thread.
bool grabbedHere(unsigned keycode, unsigned state);

/// Whether the user holds the combination of a HotkeyGrabs of this process now. Any thread.
bool hotkeyHeldHere();

} // namespace quillo::platform::x11
