#pragma once

#include "hotkey/hotkey.h"

#include <chrono>
#include <functional>

namespace quillo {

/// Watches the keyboard for the activation hotkey on a thread of its own, the hook thread, and reports when it goes
/// down and when it comes up. There is at most one hook in a process: all state is process-wide.
///
/// The operations are called from one thread, the user-interface thread, unless they say otherwise. Actions run on the
/// hook thread while the whole desktop's keyboard waits: they must return quickly and must not call start, startToggle
/// or stop. Once stop has returned, no action runs any more.
class HotkeyManager {
public:
    using Action = std::function<void()>;

    /// Push-to-talk: runs `press` when the hotkey goes down and `release` when it comes up. Replaces a running hook.
    /// False when the system refuses the hook or does not confirm it within 2 s; then nothing is watched.
    /// A hook that the system takes away later is put back, as soon as the system allows it.
    static bool start(const Hotkey& hotkey, Action press, Action release);

    /// Toggle mode: as start, with nothing to run at the release.
    static bool startToggle(const Hotkey& hotkey, Action press);

    /// Waits until the hotkey is not held. False when it still is after the time. Any thread but the hook thread.
    static bool waitForRelease(std::chrono::milliseconds timeout);

    /// While one exists, a press of the hotkey is a key like any other, until it comes up: it goes on to the
    /// application with the focus and runs nothing. A hotkey that is already held still gets its release.
    /// User-interface thread.
    class Pause {
    public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
    };

    /// Ends the hook thread and drops the actions; the hotkey counts as released. Does nothing more when no hook runs.
    static void stop();
};

} // namespace quillo
