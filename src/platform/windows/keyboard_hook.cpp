#include "platform/keyboard_hook.h"

#include "platform/windows/hook_watch.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <iterator>
#include <optional>
#include <type_traits>
#include <utility>

namespace quillo::platform {
namespace {

constexpr DWORD pollMilliseconds = 50; // how late a cleared `running` is seen when no message wakes the thread

struct HookRemove {
    void operator()(HHOOK hook) const { UnhookWindowsHookEx(hook); }
};
using Hook = std::unique_ptr<std::remove_pointer_t<HHOOK>, HookRemove>;

void drainMessages(std::atomic<bool>& running)
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
            running = false;
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

// An application that gets nothing between Alt's or Win's down and its up opens its menu, or the start menu, and the
// paste would go there: it gets a key that has no meaning. From within the hook procedure, which hears of that key too.
void keepMenusShut()
{
    constexpr int menuKeys[] = {VK_MENU, VK_LWIN, VK_RWIN};
    if (std::none_of(std::begin(menuKeys), std::end(menuKeys), [](int key) { return GetAsyncKeyState(key) < 0; }))
        return;
    constexpr WORD unassigned = 0xE8;
    std::array<INPUT, 2> stroke{};
    for (INPUT& input : stroke) {
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = unassigned;
    }
    stroke[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(static_cast<UINT>(stroke.size()), stroke.data(), sizeof(INPUT));
}

} // namespace

struct KeyboardHook::Impl {
    ~Impl() { remove(); }

    void remove();
    static LRESULT CALLBACK keyboardHookProc(int code, WPARAM message, LPARAM record);

    static inline Impl* installed = nullptr; // the system hands no context to the hook procedure

    Handler handler;
    std::optional<HookWatch> watch; // while installed
    Hook hookHandle;
    std::atomic<DWORD> hookThreadId = 0;
    DWORD error = ERROR_SUCCESS;
};

void KeyboardHook::Impl::remove()
{
    hookThreadId = 0;
    hookHandle.reset();
    handler = nullptr;
    if (installed == this)
        installed = nullptr;
    watch.reset();
}

/// Runs on the hook thread, while that thread waits for messages.
LRESULT CALLBACK KeyboardHook::Impl::keyboardHookProc(int code, WPARAM message, LPARAM record)
{
    const bool down = message == WM_KEYDOWN || message == WM_SYSKEYDOWN;
    const bool up = message == WM_KEYUP || message == WM_SYSKEYUP;
    if (!installed)
        return CallNextHookEx(nullptr, code, message, record); // was on its way when the hook was removed
    if (code == HC_ACTION && (down || up)) {
        installed->watch->onHookCall();
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the system passes the address as a number
        const auto& key = *reinterpret_cast<const KBDLLHOOKSTRUCT*>(record);
        if (installed->handler({.virtualKey = key.vkCode, .down = down})) {
            if (down)
                keepMenusShut();
            return 1;
        }
    }
    return CallNextHookEx(installed->hookHandle.get(), code, message, record);
}

KeyboardHook::KeyboardHook()
    : impl_(std::make_unique<Impl>())
{
}

KeyboardHook::~KeyboardHook() = default;

bool KeyboardHook::install(const KeyCombination& /*watched*/, Handler handler)
{
    assert(!Impl::installed);
    // Makes the queue that wake() posts to, and drops a wake-up that came too late for an earlier run.
    MSG stale;
    PeekMessageW(&stale, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);

    impl_->hookThreadId = GetCurrentThreadId();
    impl_->handler = std::move(handler);
    impl_->watch.emplace();
    Impl::installed = impl_.get();
    impl_->hookHandle.reset(SetWindowsHookExW(WH_KEYBOARD_LL, &Impl::keyboardHookProc, GetModuleHandleW(nullptr), 0));
    if (!impl_->hookHandle) {
        impl_->error = GetLastError();
        impl_->remove();
        return false;
    }
    return true;
}

unsigned long KeyboardHook::error() const
{
    return impl_->error;
}

void KeyboardHook::run(std::atomic<bool>& running)
{
    while (running && impl_->watch && !impl_->watch->hookIsLost()) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, pollMilliseconds, QS_ALLINPUT);
        drainMessages(running);
    }
    impl_->remove();
}

void KeyboardHook::wake()
{
    if (const DWORD thread = impl_->hookThreadId)
        PostThreadMessageW(thread, WM_QUIT, 0, 0);
}

bool KeyboardHook::isDown(std::uint32_t virtualKey) const
{
    return GetAsyncKeyState(static_cast<int>(virtualKey)) < 0;
}

} // namespace quillo::platform
