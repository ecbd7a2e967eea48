// The Windows platform layer against the real system, or Wine. It takes the keyboard focus, sends keys and overwrites
// the clipboard.
#include "base/utf8_path.h"
#include "platform/clipboard.h"
#include "platform/data_root.h"
#include "platform/hotkey_probe.h"
#include "platform/instance_guard.h"
#include "platform/keyboard_hook.h"
#include "platform/program_folder.h"
#include "platform/termination.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <wtsapi32.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <future>
#include <initializer_list>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace quillo::platform {
namespace {

using namespace std::chrono_literals;
using Key = std::pair<std::uint32_t, bool>; // virtual-key code, whether it goes down
using Keys = std::vector<Key>;

Keys received; // by the windows of this program

template<typename Condition> bool pumpUntil(const Condition& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        MSG message;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT);
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            const bool down = message.message == WM_KEYDOWN || message.message == WM_SYSKEYDOWN;
            if (down || message.message == WM_KEYUP || message.message == WM_SYSKEYUP)
                received.emplace_back(static_cast<std::uint32_t>(message.wParam), down);
            else
                DispatchMessageW(&message);
        }
    }
    return true;
}

/// Expects that these keys are received, and no other before.
void expectReceived(const Keys& keys)
{
    pumpUntil([&] { return received.size() >= keys.size(); });
    EXPECT_EQ(std::exchange(received, {}), keys);
}

/// One key after the other goes down, then they come up again.
Keys chord(std::initializer_list<std::uint32_t> virtualKeys)
{
    Keys keys;
    for (const std::uint32_t key : virtualKeys)
        keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(keys.size() / 2), {{key, true}, {key, false}});
    return keys;
}

void type(const Keys& keys)
{
    std::vector<INPUT> inputs;
    for (const auto& [key, down] : keys)
        inputs.push_back({INPUT_KEYBOARD, {.ki = {static_cast<WORD>(key), 0, down ? 0UL : KEYEVENTF_KEYUP, 0, 0}}});
    ASSERT_EQ(SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT)), inputs.size());
}

/// A test with the focus in a window of this program.
class Desktop : public testing::Test {
protected:
    Desktop()
    {
        SetForegroundWindow(window);
        SetFocus(window);
        EXPECT_TRUE(pumpUntil([] { return GetForegroundWindow() == window && GetFocus() == window; }));
        received.clear();
    }

    // One for all tests: each costs seconds where no window manager runs.
    static inline const HWND window = CreateWindowW(
        L"STATIC", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 10, 300, 200, nullptr, nullptr, nullptr, nullptr);
};

/// A KeyboardHook that runs on a thread of its own, is put back when it is lost, and swallows J unless Ctrl is down.
class HookThread {
public:
    HookThread()
    {
        EXPECT_TRUE(pumpUntil([this] { return installs > 0; }));
    }
    ~HookThread()
    {
        running_ = false;
        hook_.wake();
    }

    std::atomic<int> installs = 0;
    std::atomic<int> events = 0; ///< that it has delivered

private:
    KeyboardHook hook_;
    std::atomic<bool> running_ = true;
    std::jthread thread_{[this] {
        const auto swallowsJ = [this](const KeyEvent& event) {
            ++events;
            return event.virtualKey == 'J' && !hook_.isDown(vk::control);
        };
        while (running_) {
            installs += hook_.install({}, swallowsJ);
            hook_.run(running_);
        }
    }};
};

/// What the clipboard holds as text, or an empty text.
std::wstring clipboardText()
{
    std::wstring text;
    EXPECT_TRUE(OpenClipboard(nullptr));
    if (const HANDLE memory = GetClipboardData(CF_UNICODETEXT)) {
        text = static_cast<const wchar_t*>(GlobalLock(memory));
        GlobalUnlock(memory);
    }
    CloseClipboard();
    return text;
}

TEST(InstanceGuard, IsANamedLockWhoseRefusalStopsNobody)
{
    EXPECT_TRUE(takeInstanceGuard("Quillo_Test_\u00e9"));
    EXPECT_FALSE(takeInstanceGuard("Quillo_Test_\u00e9"));
    EXPECT_TRUE(OpenMutexW(SYNCHRONIZE, FALSE, L"Quillo_Test_\u00e9")) << "the mutex has another name";
    EXPECT_TRUE(CreateEventW(nullptr, TRUE, FALSE, L"Quillo_Test_NoMutex"));
    EXPECT_TRUE(takeInstanceGuard("Quillo_Test_NoMutex")); // the name belongs to an object of another kind
}

TEST(Folders, AreNamedInUtf8)
{
    EXPECT_EQ(pathFromUtf8(dataRoot()), _wgetenv(L"APPDATA"));
    std::array<wchar_t, MAX_PATH> program{};
    GetModuleFileNameW(nullptr, program.data(), MAX_PATH);
    EXPECT_EQ(pathFromUtf8(programFolder()), std::filesystem::path(program.data()).parent_path());
}

TEST(HotkeyProbe, TellsATakenCombinationAndLeavesAFreeOneFree)
{
    constexpr KeyCombination taken{modCtrl | modAlt, vk::f1 + 8};
    ASSERT_TRUE(RegisterHotKey(nullptr, 1, taken.modifiers, taken.virtualKey));
    EXPECT_EQ(probeHotkey(taken), ProbeResult::HeldByAnother);
    EXPECT_EQ(probeHotkey({modCtrl, taken.virtualKey}), ProbeResult::Available);
    UnregisterHotKey(nullptr, 1);
    EXPECT_EQ(probeHotkey(taken), ProbeResult::Available);
    EXPECT_EQ(probeHotkey(taken), ProbeResult::Available);
}

TEST_F(Desktop, HookSwallowsWhatItsHandlerSwallows)
{
    const HookThread thread;
    const std::pair<Keys, Keys> cases[] = {
        // The window would open its menu when an Alt comes up that was alone.
        {chord({vk::leftMenu, 'J'}), chord({vk::menu, 0xE8})},
        {chord({vk::leftShift, 'J'}), chord({vk::shift})},
        {chord({vk::rightControl, 'J'}), chord({vk::control, 'J'})},
    };
    for (const auto& [typed, expected] : cases) {
        type(typed);
        expectReceived(expected);
        type(chord({'J'}));
        type(chord({'K'}));
        expectReceived(chord({'K'}));
    }
}

TEST_F(Desktop, HookEndsWhenStoppedBeforeItsRunAndComesBackOnTheSameThread)
{
    KeyboardHook hook;
    std::atomic<bool> running = false;
    ASSERT_TRUE(hook.install({}, [](const KeyEvent&) { return true; }));
    hook.wake(); // leaves a wake-up behind that must not end the next run
    hook.run(running);

    running = true;
    int heard = 0;
    const auto endWithKey = [&](const KeyEvent& event) {
        ++heard;
        if (!event.down)
            PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 0, 0); // as the system does
        return true;
    };
    ASSERT_TRUE(hook.install({}, endWithKey));
    const std::jthread typist([] { type(chord({'K'})); });
    hook.run(running);
    EXPECT_EQ(heard, 2);
    EXPECT_FALSE(running);
    type(chord({'J'}));
    expectReceived(chord({'J'}));
}

TEST_F(Desktop, HookComesBackAfterSleepAndWhenTheSessionChangesHands)
{
    const HookThread thread;
    const std::tuple<UINT, WPARAM, bool> notices[] = {{WM_POWERBROADCAST, PBT_APMPOWERSTATUSCHANGE, false},
        {WM_CLOSE, 0, false}, {WM_POWERBROADCAST, PBT_APMSUSPEND, true},
        {WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC, true}, {WM_POWERBROADCAST, PBT_APMRESUMESUSPEND, true},
        {WM_WTSSESSION_CHANGE, WTS_SESSION_LOCK, true}, {WM_WTSSESSION_CHANGE, WTS_SESSION_UNLOCK, true},
        {WM_WTSSESSION_CHANGE, WTS_CONSOLE_CONNECT, true}};
    int installs = 1;
    for (const auto& [message, event, isLoss] : notices) {
        const HWND watch = FindWindowW(L"QuilloHookWatch", nullptr);
        EXPECT_TRUE(watch && SendMessageTimeoutW(watch, message, event, 0, SMTO_NORMAL, 20'000, nullptr));
        installs += isLoss;
        EXPECT_TRUE(pumpUntil([&] { return thread.installs == installs; })) << message << ' ' << event;
    }
    type(chord({'J', 'K'}));
    expectReceived(chord({'K'}));
    EXPECT_EQ(thread.events, 4) << "exactly one hook is there";
}

/// Takes every key before an older hook gets it, and hands none on: the older hook might as well be gone.
LRESULT CALLBACK keepFromOlderHooks(int, WPARAM, LPARAM)
{
    return 0;
}

TEST_F(Desktop, HookComesBackWhenItIsNoLongerCalledWhileAnotherProgramHasTheFocus)
{
    FreeConsole();
    ASSERT_TRUE(AllocConsole()); // whose window belongs to another program
    SetForegroundWindow(GetConsoleWindow());
    ASSERT_TRUE(pumpUntil([] { return GetForegroundWindow() && GetForegroundWindow() != window; }));
    const HookThread thread;
    const HHOOK newer = SetWindowsHookExW(WH_KEYBOARD_LL, &keepFromOlderHooks, GetModuleHandleW(nullptr), 0);
    ASSERT_TRUE(newer);
    type(chord({'J'}));
    EXPECT_EQ(thread.events, 0);
    EXPECT_TRUE(pumpUntil([&] {
        type(chord({'K'}));
        return thread.events > 0;
    }));
    EXPECT_EQ(thread.installs, 2);
    UnhookWindowsHookEx(newer);
}

TEST_F(Desktop, ClipboardTakesTheTextInPlaceOfEverything)
{
    const UINT format = RegisterClipboardFormatW(L"QuilloTestFormat");
    ASSERT_TRUE(OpenClipboard(window));
    SetClipboardData(format, GlobalAlloc(GMEM_MOVEABLE, 8));
    EXPECT_FALSE(setClipboardText("plain")) << "another holds it";
    CloseClipboard();
    EXPECT_TRUE(IsClipboardFormatAvailable(format)) << "it is left alone";
    EXPECT_TRUE(setClipboardText("d\u00e9j\u00e0 vu \u2713 \U0001F600 \u65e5\u672c\r\n\t"));
    EXPECT_EQ(clipboardText(), L"d\u00e9j\u00e0 vu \u2713 \U0001F600 \u65e5\u672c\r\n\t");
    EXPECT_FALSE(IsClipboardFormatAvailable(format));
    EXPECT_TRUE(setClipboardText(""));
    EXPECT_EQ(clipboardText(), L"");
}

TEST_F(Desktop, ClipboardIsWaitedForWhileAnotherHoldsItForAMoment)
{
    bool set = false;
    for (int attempt = 0; attempt < 5 && !set; ++attempt) { // a busy machine may hold it for more than a moment
        ASSERT_TRUE(OpenClipboard(window));
        auto setting = std::async(std::launch::async, [] { return setClipboardText("patient"); });
        std::this_thread::sleep_for(30ms);
        CloseClipboard();
        set = setting.get();
    }
    EXPECT_TRUE(set);
    EXPECT_EQ(clipboardText(), L"patient");
}

TEST_F(Desktop, PasteWaitsForModifiersToComeUpAndKeepsOutOfAHeldHotkey)
{
    int asked = 0;
    type({{vk::leftShift, true}});
    EXPECT_TRUE(sendPasteShortcut([&] {
        if (++asked == 2)
            type({{vk::leftShift, false}});
        return true;
    }));
    expectReceived(
        {{vk::shift, true}, {vk::shift, false}, {vk::control, true}, {'V', true}, {'V', false}, {vk::control, false}});

    EXPECT_FALSE(sendPasteShortcut([] { return false; }));
    type(chord({'K'}));
    expectReceived(chord({'K'}));
}

TEST(Termination, HearsOfTheEndOfTheSessionAndOfRequestsToClose)
{
    std::string calls;
    {
        const TerminationRequests termination({[&] { calls += "finish "; }, [&] { calls += "end "; }});
        const HWND window = FindWindowW(L"QuilloTermination", nullptr);
        ASSERT_TRUE(window);
        EXPECT_FALSE(IsWindowVisible(window));
        EXPECT_TRUE(SendMessageW(window, WM_QUERYENDSESSION, 0, 0)) << "Quillo keeps nobody from leaving";
        SendMessageW(window, WM_ENDSESSION, FALSE, 0); // another program did
        EXPECT_EQ(calls, "finish ");
        SendMessageW(window, WM_ENDSESSION, TRUE, 0);
        SendMessageW(window, WM_CLOSE, 0, 0);
        EXPECT_EQ(calls, "finish end end ");
    }
    EXPECT_FALSE(FindWindowW(L"QuilloTermination", nullptr));
}

TEST(Termination, HearsOfAnInterruptInItsConsole)
{
    FreeConsole();
    ASSERT_TRUE(AllocConsole()); // in which nobody else hears of it
    SetConsoleCtrlHandler(nullptr, FALSE); // the setting not to hear of it is inherited
    SetConsoleCtrlHandler([](DWORD) { return TRUE; }, TRUE); // else nobody's interrupt would end the test, in success
    bool requested = false;
    const TerminationRequests termination({[] {}, [&] { requested = true; }});
    EXPECT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
    EXPECT_TRUE(pumpUntil([&] { return requested; }));
}

} // namespace
} // namespace quillo::platform
