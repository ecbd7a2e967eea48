#pragma once

#include "platform/keys.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <vector>

#include <X11/Xlib.h>

namespace quillo::platform::x11 {

inline constexpr unsigned keycodeCount = 256;
inline constexpr unsigned modifierStates = 256; ///< the values of the eight modifier bits of an event's state

/// The server's keyboard as it is laid out at one moment: which virtual key each keycode is, and which modifier bits
/// it sets. A letter or digit is the key that types it in the active layout, else in another layout of the keyboard,
/// else the key in that place of a US keyboard. A value; it does not follow changes.
class KeyMap {
public:
    KeyMap() = default;
    explicit KeyMap(Display* display);

    bool operator==(const KeyMap&) const = default;

    /// 0 for a key that has no virtual-key code.
    std::uint32_t virtualKey(unsigned keycode) const { return virtualKeys_[keycode]; }

    /// The keys with this virtual-key code, lowest keycode first.
    std::vector<unsigned> keycodes(std::uint32_t virtualKey) const;

    /// The bits of an event's state that the keys of one modifier (modAlt to modWin) set; 0 if there is none.
    unsigned stateMask(std::uint32_t modifier) const;

    /// Whether an event's state has all these modifiers.
    bool holds(unsigned state, std::uint32_t modifiers) const;

    /// The smallest state that has all these modifiers.
    unsigned exactState(std::uint32_t modifiers) const;

private:
    void placeMissingLetters();

    std::array<std::uint8_t, keycodeCount> virtualKeys_{};
    std::array<std::uint8_t, keycodeCount> stateMasks_{};
};

/// Which keys the server holds to be down now, by keycode.
std::bitset<keycodeCount> keysDown(Display* display);

/// The keycode that types this unshifted character in the active layout, else in any layout, else `fallback`.
unsigned keycodeTyping(Display* display, KeySym character, unsigned fallback);

} // namespace quillo::platform::x11
