#pragma once

#include "hotkey/hotkey.h"

#include <atomic>
#include <functional>

namespace quillo {

enum class KeyAction { None, Press, Release };

struct KeyDecision {
    KeyAction action = KeyAction::None; ///< what to report of the hotkey
    bool swallow = false; ///< keep the event from the applications
};

/// Decides what one key event means for the watched hotkey.
///
/// The hotkey goes down when its main key does while all its modifiers are held, whatever else is held; it comes up
/// with the main key or with any modifier key, whichever is first. `pressed` says whether it is down; it is changed by
/// atomic exchange only, so that each press is followed by exactly one release. The main key is swallowed while the
/// hotkey is down, modifiers never are. `isDown` tells whether a key is held; it is asked only when the main key goes
/// down, since every keystroke of the desktop passes here.
KeyDecision decideKey(const Hotkey& watched, const platform::KeyEvent& event, std::atomic<bool>& pressed,
    const std::function<bool(std::uint32_t)>& isDown);

} // namespace quillo
