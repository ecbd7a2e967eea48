#pragma once

#include "hotkey/hotkey.h"

namespace quillo {

enum class HotkeyStatus {
    Available = 0, ///< no conflict found
    ReservedBySystem = 1, ///< the system keeps the combination for itself: it never reaches a program
    RegisteredElsewhere = 2, ///< another program holds it; the keyboard hook may see it all the same
};

/// Tells whether a hotkey can be expected to work. Has no lasting effect; any thread.
HotkeyStatus checkHotkeyAvailability(const Hotkey& hotkey);

} // namespace quillo
