#pragma once

namespace quillo {

/// What the overlay tells the user: it chooses the colours of the pill and the decorations of a recording.
enum class OverlayState : int {
    Idle = 0,
    Listening = 1, ///< a recording is open: pulsing dot and level bar
    Processing = 2, ///< recognition runs
    Pasted = 3, ///< the text went out; the overlay hides by itself
    Error = 4, ///< stays until the next recording
};

} // namespace quillo
