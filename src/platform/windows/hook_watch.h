#pragma once

#include "platform/windows/hidden_window.h"
#include "platform/windows/hook_loss_detector.h"

#include <memory>

namespace quillo::platform {

/// Tells the thread of a low-level keyboard hook when the hook has to be put back: the machine went to sleep or woke,
/// the session was locked, unlocked or handed over, or the system has removed the hook in silence, as it does when its
/// thread answers too slowly (LowLevelHooksTimeout). The last is noticed by raw input, of which only the arrival
/// counts: what was typed is not read. Before a sleep or a lock it is time as well, since a held hotkey comes up unseen
/// there, and to put the hook back ends the press.
///
/// Belongs to the thread that installed the hook, out of whose message loop it learns everything. What the system
/// refuses it does without. One at a time in a process, as raw input of the keyboard goes to one window.
class HookWatch {
public:
    HookWatch();
    ~HookWatch();
    HookWatch(const HookWatch&) = delete;
    HookWatch& operator=(const HookWatch&) = delete;

    void onHookCall() { lossDetector_.onHookCall(); } ///< to be called for each event that reaches the hook
    bool hookIsLost() const { return lost_; }

private:
    struct PowerUnregister {
        void operator()(HPOWERNOTIFY registration) const { UnregisterSuspendResumeNotification(registration); }
    };

    bool handle(UINT message, WPARAM wParam);

    HookLossDetector lossDetector_;
    bool lost_ = false;
    HiddenWindow window_;
    std::unique_ptr<void, PowerUnregister> power_;
};

} // namespace quillo::platform
