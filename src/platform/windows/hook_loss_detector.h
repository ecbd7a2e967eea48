#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

namespace quillo::platform {

/// Judges by raw input whether the system still calls a keyboard hook. While it does, every key comes to the hook's
/// thread twice, as a call of the hook and as raw input, in no promised order and with some lag. Two raw keys in a row
/// without a call tell that the hook is gone.
///
/// It is a suspicion only: a hook that another program has put before this one may keep keys to itself, and a window
/// with higher rights may keep them from the hook. Hence the pause after each installation: no such neighbour makes us
/// install hooks without end.
class HookLossDetector {
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit HookLossDetector(Time installed)
        : trustedUntil_(installed + std::chrono::seconds(5))
    {
    }

    void onHookCall() { called_ = true; } ///< every keystroke of the desktop waits for this: no clock is read

    /// True when the hook is to be taken for gone.
    bool onRawKey(Time now)
    {
        if (std::exchange(called_, false)) {
            unheard_ = 0;
            // Raw input that lags behind several calls.
            trustedUntil_ = std::max(trustedUntil_, now + std::chrono::milliseconds(500));
        }
        return now >= trustedUntil_ && ++unheard_ >= 2;
    }

private:
    Time trustedUntil_;
    bool called_ = false; ///< since the last raw key
    int unheard_ = 0; ///< raw keys in a row without a call
};

} // namespace quillo::platform
