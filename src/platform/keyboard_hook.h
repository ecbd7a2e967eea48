#pragma once

#include "platform/keys.h"

#include <atomic>
#include <functional>
#include <memory>

namespace quillo::platform {

/// Watches the keyboard of the whole desktop, with the power to swallow the events of one key combination.
///
/// install(), run() and isDown() belong to one thread, the hook thread; wake() may be called from any thread.
/// The object is created before that thread starts and destroyed after it has ended. At most one hook may be installed
/// in a process.
class KeyboardHook {
public:
    /// Called on the hook thread for every key event; returns true to swallow it, so that no application sees it.
    /// Only events of the watched combination's main key can be swallowed, and only while its modifiers are down, or
    /// until that key comes up again. The whole desktop's keyboard waits for the answer: it must come at once.
    /// The same event may be delivered twice; an event that changes nothing is to be ignored, with the same answer.
    using Handler = std::function<bool(const KeyEvent&)>;

    KeyboardHook();
    ~KeyboardHook();
    KeyboardHook(const KeyboardHook&) = delete;
    KeyboardHook& operator=(const KeyboardHook&) = delete;

    /// Starts watching. False when the system refuses the hook; error() then has the system's error number. That
    /// another program holds the combination is no failure: its events are then seen but cannot be swallowed.
    /// May be called again after run() has returned.
    bool install(const KeyCombination& watched, Handler handler);
    unsigned long error() const;

    /// Delivers key events until `running` is clear, or until the system has taken the hook away, or may have; then
    /// removes the hook. A request of the system to end the thread clears `running`.
    void run(std::atomic<bool>& running);

    /// Makes run() look at `running` again, also when it has not begun yet. Any thread.
    void wake();

    /// Whether the key is down now. vk::shift, vk::control and vk::menu stand for either key of their pair.
    bool isDown(std::uint32_t virtualKey) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo::platform
