#include "hotkey/hotkey_manager.h"

#include "base/log.h"
#include "hotkey/key_decision.h"
#include "platform/keyboard_hook.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace quillo {

namespace {

constexpr std::chrono::milliseconds installTimeout{2000};

// How long to wait before a hook that was lost is asked for again: twice as long after each refusal.
constexpr std::chrono::milliseconds firstPause{250};
constexpr std::chrono::milliseconds longestPause{10'000};

Hotkey watchedHotkey; // written only while no hook thread runs
HotkeyManager::Action onPress;
HotkeyManager::Action onRelease;
std::mutex callbackMutex; // guards both actions and every call of them
std::atomic<bool> pressed{false};
std::condition_variable released; // with callbackMutex, after `pressed` has been cleared
std::atomic<int> pauses{0};
bool mainKeyLetThrough = false; // during a pause, until it comes up; the hook thread's, while there is one
std::atomic<bool> running{false};
std::condition_variable ended; // with callbackMutex, after `running` has been cleared
std::atomic<bool> hookInstalled{false};
std::unique_ptr<platform::KeyboardHook> hook; // exists while hookThread does
std::thread hookThread;

// An action that cannot do its work, for want of a thread or memory, must not unwind into the system's hook.
void run(const HotkeyManager::Action& action)
{
    try {
        if (action)
            action();
    } catch (const std::exception& failure) {
        logError("[Quillo] ERROR: Hotkey action failed: %s\n", failure.what());
    }
}

bool handleKeyEvent(const platform::KeyEvent& event)
{
    if (event.virtualKey == watchedHotkey.virtualKey) {
        // A key that repeats beyond the end of the pause is still the press that has been let through.
        mainKeyLetThrough = event.down && (mainKeyLetThrough || (pauses > 0 && !pressed));
        if (mainKeyLetThrough)
            return false;
    }
    const KeyDecision decision =
        decideKey(watchedHotkey, event, pressed, [](std::uint32_t key) { return hook->isDown(key); });
    if (decision.action != KeyAction::None) {
        const std::lock_guard lock(callbackMutex);
        run(decision.action == KeyAction::Press ? onPress : onRelease);
        released.notify_all();
    }
    return decision.swallow;
}

bool installHook()
{
    hookInstalled = hook->install(watchedHotkey, handleKeyEvent);
    return hookInstalled;
}

void logRefusal()
{
    logError("[Quillo] ERROR: Failed to install keyboard hook (error %lu)\n", hook->error());
}

// The system may go on to refuse the hook for a while: when it wakes up, locks the screen or changes the user.
void insistOnHook()
{
    for (auto pause = firstPause; running && !hookInstalled; pause = std::min(2 * pause, longestPause)) {
        std::unique_lock lock(callbackMutex);
        ended.wait_for(lock, pause, [] { return !running; });
        lock.unlock();
        if (running)
            installHook();
    }
}

void hookThreadMain(std::promise<void> ready)
{
    if (!installHook())
        logRefusal();
    ready.set_value();
    while (hookInstalled) {
        hook->run(running);
        if (!running)
            return;
        // The system took the hook away: put it back. The key may have come up unseen meanwhile.
        if (!installHook())
            logRefusal();
        if (!hookInstalled || !hook->isDown(watchedHotkey.virtualKey))
            handleKeyEvent({watchedHotkey.virtualKey, false});
        insistOnHook();
    }
}

void endHookThread()
{
    {
        const std::lock_guard lock(callbackMutex);
        running = false;
    }
    ended.notify_all();
    if (!hookThread.joinable())
        return;
    hook->wake();
    hookThread.join();
    hook.reset();
}

void setActions(HotkeyManager::Action press, HotkeyManager::Action release)
{
    const std::lock_guard lock(callbackMutex);
    onPress = std::move(press);
    onRelease = std::move(release);
    pressed = false;
    released.notify_all();
}

} // namespace

bool HotkeyManager::start(const Hotkey& hotkey, Action press, Action release)
{
    endHookThread();
    const bool pushToTalk = static_cast<bool>(release);
    watchedHotkey = hotkey;
    hookInstalled = false;
    mainKeyLetThrough = false;
    setActions(std::move(press), std::move(release));

    std::promise<void> ready;
    const std::future<void> confirmed = ready.get_future();
    running = true;
    hook = std::make_unique<platform::KeyboardHook>();
    hookThread = std::thread(hookThreadMain, std::move(ready));
    confirmed.wait_for(installTimeout);

    if (!hookInstalled) {
        stop();
        return false;
    }
    logMessage(
        "[Quillo] Hotkey registered: %s (push-to-talk: %s)\n", formatHotkey(hotkey).c_str(), pushToTalk ? "yes" : "no");
    return true;
}

bool HotkeyManager::startToggle(const Hotkey& hotkey, Action press)
{
    return start(hotkey, std::move(press), {});
}

bool HotkeyManager::waitForRelease(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(callbackMutex);
    return released.wait_for(lock, timeout, [] { return !pressed; });
}

HotkeyManager::Pause::Pause()
{
    ++pauses;
}

HotkeyManager::Pause::~Pause()
{
    --pauses;
}

void HotkeyManager::stop()
{
    endHookThread();
    setActions({}, {});
}

} // namespace quillo
