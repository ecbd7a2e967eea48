#pragma once

#include <atomic>
#include <cstdint>

namespace quillo {

/// The presses of the hotkey, numbered from 1. A press is open until it is released, in toggle mode until the second
/// press, or until its recording is closed for another reason; then it is over and opens no recording any more.
/// Any thread.
class HotkeyPresses {
public:
    std::uint64_t begin() ///< the number of a new press, which is open
    {
        open_ = ++last_;
        return open_;
    }
    void end() { open_ = 0; } ///< the open press, if there is one, is over
    void end(std::uint64_t press) { open_.compare_exchange_strong(press, 0); } ///< the same, if it is this one

    bool isOpen() const { return open_ != 0; }
    bool isOver(std::uint64_t press) const { return open_ != press; }

private:
    std::uint64_t last_ = 0; // of the one hook thread at a time
    std::atomic<std::uint64_t> open_{0}; // 0 for none
};

} // namespace quillo
