// The Windows platform layer against the real system, or Wine. A program of its own: it takes the keyboard focus, sends
// keys and overwrites the clipboard.
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

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quillo::platform {
namespace {

using namespace std::chrono_literals;
using Key = std::pair<std::uint32_t, bool>; // virtual-key code, whether it goes down
using Keys = std::vector<Key>;

constexpr auto patience = 20s;
constexpr KeyCombination defaultHotkey{modCtrl | modShift, vk::space};

template<typename Condition> bool pumpUntil(const Condition& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        MSG message;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT);
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    return true;
}

/// A second process of this program that plays the part named on its command line; ended with the object.
class Child {
public:
    explicit Child(const std::wstring& part, DWORD flags = 0)
    {
        wchar_t program[MAX_PATH]{};
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        std::wstring command = L"\"" + std::wstring(program) + L"\" " + part;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESHOWWINDOW; // a console of its own is not to be seen
        startup.wShowWindow = SW_HIDE;
        EXPECT_TRUE(CreateProcessW(
            program, command.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr, &startup, &process_));
    }
    ~Child()
    {
        TerminateProcess(process_.hProcess, 99);
        exitCode();
        CloseHandle(process_.hThread);
        CloseHandle(process_.hProcess);
    }

    DWORD exitCode() const
    {
        DWORD code = STILL_ACTIVE;
        WaitForSingleObject(process_.hProcess, 20'000);
        GetExitCodeProcess(process_.hProcess, &code);
        return code;
    }
    bool hasFocus() const
    {
        DWORD owner = 0;
        GetWindowThreadProcessId(GetForegroundWindow(), &owner);
        return owner == process_.dwProcessId;
    }

private:
    PROCESS_INFORMATION process_{};
};

Keys received; // by the window

LRESULT CALLBACK record(HWND handle, UINT message, WPARAM key, LPARAM details)
{
    const bool down = message == WM_KEYDOWN || message == WM_SYSKEYDOWN;
    if (!down && message != WM_KEYUP && message != WM_SYSKEYUP)
        return DefWindowProcW(handle, message, key, details);
    received.emplace_back(static_cast<std::uint32_t>(key), down);
    return 0;
}

/// A window that notes every key it gets; one for all tests: each new one costs seconds where no window manager runs.
HWND window()
{
    static const HWND handle = [] {
        WNDCLASSW recorder{};
        recorder.lpfnWndProc = &record;
        recorder.lpszClassName = L"QuilloTestRecorder";
        RegisterClassW(&recorder);
        return CreateWindowW(recorder.lpszClassName, L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 10, 300, 200, nullptr,
            nullptr, nullptr, nullptr);
    }();
    return handle;
}

void takeFocus()
{
    SetForegroundWindow(window());
    SetFocus(window());
    EXPECT_TRUE(pumpUntil([] { return GetForegroundWindow() == window() && GetFocus() == window(); }));
}

bool receives(std::size_t count)
{
    return pumpUntil([count] { return received.size() >= count; });
}

int interruptConsole()
{
    SetConsoleCtrlHandler(nullptr, FALSE); // the setting not to hear of it is inherited
    bool requested = false;
    const TerminationRequests termination({[] {}, [&] { requested = true; }});
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) && pumpUntil([&] { return requested; }) ? 0 : 1;
}

/// A test with the focus in the window.
class Desktop : public testing::Test {
protected:
    void SetUp() override
    {
        takeFocus();
        received.clear();
    }
};

/// A KeyboardHook that runs on a thread of its own, is put back when it is lost, swallows J unless Ctrl is down, and
/// notes what it delivers.
class HookThread {
public:
    HookThread()
    {
        EXPECT_TRUE(pumpUntil([this] { return installs_ > 0; }));
    }
    ~HookThread()
    {
        running_ = false;
        hook_.wake();
        thread_.join();
    }

    Keys seen() const
    {
        const std::lock_guard lock(mutex_);
        return seen_;
    }
    int installs() const { return installs_; }

private:
    void run()
    {
        while (running_) {
            installs_ += hook_.install(defaultHotkey, [this](const KeyEvent& event) { return note(event); });
            hook_.run(running_);
        }
    }
    bool note(const KeyEvent& event)
    {
        const std::lock_guard lock(mutex_);
        seen_.emplace_back(event.virtualKey, event.down);
        return event.virtualKey == 'J' && !hook_.isDown(vk::control);
    }

    KeyboardHook hook_;
    std::atomic<bool> running_ = true;
    std::atomic<int> installs_ = 0;
    mutable std::mutex mutex_;
    Keys seen_;
    std::thread thread_{[this] { run(); }};
};

void send(const Keys& keys)
{
    std::vector<INPUT> inputs;
    for (const auto& [virtualKey, down] : keys) {
        INPUT& input = inputs.emplace_back();
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = static_cast<WORD>(virtualKey);
        input.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
    }
    ASSERT_EQ(SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT)), inputs.size());
}

const Keys strokeJ{{'J', true}, {'J', false}};
const Keys strokeK{{'K', true}, {'K', false}};
const Keys strokesJK{{'J', true}, {'J', false}, {'K', true}, {'K', false}};

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

TEST(InstanceGuard, isANamedLockWhoseRefusalStopsNobody)
{
    EXPECT_TRUE(takeInstanceGuard("Quillo_Test_\u00e9"));
    EXPECT_FALSE(takeInstanceGuard("Quillo_Test_\u00e9"));
    EXPECT_TRUE(OpenMutexW(SYNCHRONIZE, FALSE, L"Quillo_Test_\u00e9")) << "the mutex has another name";
    EXPECT_TRUE(CreateEventW(nullptr, TRUE, FALSE, L"Quillo_Test_NoMutex"));
    EXPECT_TRUE(takeInstanceGuard("Quillo_Test_NoMutex")); // the name belongs to an object of another kind
}

TEST(Folders, areNamedInUtf8)
{
    const auto wide = [](const std::string& utf8) {
        return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
    };
    EXPECT_EQ(wide(dataRoot()), _wgetenv(L"APPDATA"));
    wchar_t program[MAX_PATH]{};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    EXPECT_EQ(wide(programFolder()), std::filesystem::path(program).parent_path());
}

TEST(HotkeyProbe, tellsATakenCombinationAndLeavesAFreeOneFree)
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
    send(strokesJK); // once K is there, J would be there as well
    EXPECT_TRUE(receives(2));
    EXPECT_EQ(received, strokeK);
    EXPECT_EQ(thread.seen(), strokesJK);
}

// Else the window would open its menu when Alt comes up.
TEST_F(Desktop, HookAltIsNotAloneWhenItsKeyIsSwallowed)
{
    const HookThread thread;
    send({{vk::leftMenu, true}, {'J', true}, {'J', false}, {vk::leftMenu, false}});
    EXPECT_TRUE(receives(4));
    EXPECT_EQ(received, (Keys{{vk::menu, true}, {0xE8, true}, {0xE8, false}, {vk::menu, false}}));
    received.clear();
    send({{vk::leftShift, true}, {'J', true}, {'J', false}, {vk::leftShift, false}});
    EXPECT_TRUE(receives(2));
    EXPECT_EQ(received, (Keys{{vk::shift, true}, {vk::shift, false}})) << "nothing to prevent";
}

TEST_F(Desktop, HookKnowsThatAModifierIsDown)
{
    const HookThread thread;
    const Keys typed{{vk::rightControl, true}, {'J', true}, {'J', false}, {vk::rightControl, false}};
    send(typed);
    send(strokeJ);
    send(strokeK);
    EXPECT_TRUE(receives(6));
    EXPECT_EQ(received[1], typed[1]);
    EXPECT_EQ(received[2], typed[2]);
    EXPECT_EQ(received[4], strokeK[0]) << "with Ctrl up again it is swallowed";
}

TEST_F(Desktop, HookEndsWhenStoppedBeforeItsRunAndComesBackOnTheSameThread)
{
    KeyboardHook hook;
    std::atomic<bool> running = false;
    ASSERT_TRUE(hook.install(defaultHotkey, [](const KeyEvent&) { return true; }));
    hook.wake(); // leaves a wake-up behind that must not end the next run
    hook.run(running);
    send(strokeJ);
    EXPECT_TRUE(receives(2)) << "the hook is still there";

    running = true;
    int heard = 0;
    ASSERT_TRUE(hook.install(
        defaultHotkey,
        [&](const KeyEvent& event) {
            ++heard;
            if (!event.down)
                PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 0, 0); // as the system does
            return true;
        }));
    std::thread typist([] { send(strokeK); });
    hook.run(running);
    typist.join();
    EXPECT_EQ(heard, 2);
    EXPECT_FALSE(running);
}

TEST_F(Desktop, HookComesBackAfterSleepAndWhenTheSessionChangesHands)
{
    const HookThread thread;
    const auto tell = [](UINT message, WPARAM event) {
        const HWND window = FindWindowW(L"QuilloHookWatch", nullptr);
        return window && SendMessageTimeoutW(window, message, event, 0, SMTO_NORMAL, 20'000, nullptr);
    };
    tell(WM_POWERBROADCAST, PBT_APMPOWERSTATUSCHANGE);
    tell(WM_CLOSE, 0);
    EXPECT_EQ(thread.installs(), 1);

    int installs = 1;
    for (const auto& [message, event] :
        {std::pair(WM_POWERBROADCAST, PBT_APMSUSPEND), {WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC},
            {WM_POWERBROADCAST, PBT_APMRESUMESUSPEND}, {WM_WTSSESSION_CHANGE, WTS_SESSION_LOCK},
            {WM_WTSSESSION_CHANGE, WTS_SESSION_UNLOCK}, {WM_WTSSESSION_CHANGE, WTS_CONSOLE_CONNECT}}) {
        EXPECT_TRUE(tell(static_cast<UINT>(message), static_cast<WPARAM>(event)));
        ++installs;
        EXPECT_TRUE(pumpUntil([&] { return thread.installs() >= installs; })) << message << ' ' << event;
    }
    EXPECT_EQ(thread.installs(), installs);

    send(strokesJK);
    EXPECT_TRUE(receives(2));
    EXPECT_EQ(received, strokeK);
    EXPECT_EQ(thread.seen(), strokesJK) << "exactly one hook is there";
}

/// Takes every key before an older hook gets it, and hands none on: the older hook might as well be gone.
LRESULT CALLBACK keepFromOlderHooks(int, WPARAM, LPARAM)
{
    return 0;
}

TEST_F(Desktop, HookComesBackWhenItIsNoLongerCalledWhileAnotherProgramHasTheFocus)
{
    const Child other(L"take-focus");
    ASSERT_TRUE(pumpUntil([&] { return other.hasFocus(); }));
    const HookThread thread;
    const HHOOK newer = SetWindowsHookExW(WH_KEYBOARD_LL, &keepFromOlderHooks, GetModuleHandleW(nullptr), 0);
    ASSERT_TRUE(newer);
    send(strokeJ);
    EXPECT_EQ(thread.seen(), Keys{});
    EXPECT_TRUE(pumpUntil([&] {
        send(strokeK);
        return !thread.seen().empty();
    }));
    EXPECT_EQ(thread.installs(), 2);
    UnhookWindowsHookEx(newer);
}

TEST_F(Desktop, ClipboardTakesTheTextInPlaceOfEverything)
{
    const UINT format = RegisterClipboardFormatW(L"QuilloTestFormat");
    ASSERT_TRUE(OpenClipboard(window()));
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
        ASSERT_TRUE(OpenClipboard(window()));
        auto setting = std::async(std::launch::async, [] { return setClipboardText("patient"); });
        std::this_thread::sleep_for(30ms);
        CloseClipboard();
        set = setting.get();
    }
    EXPECT_TRUE(set);
    EXPECT_EQ(clipboardText(), L"patient");
}

TEST_F(Desktop, PasteIsOneSequenceThatWaitsForModifiersToComeUp)
{
    const Keys shortcut{{vk::control, true}, {'V', true}, {'V', false}, {vk::control, false}};
    bool waited = false;
    for (int attempt = 0; attempt < 5 && !waited; ++attempt) { // it waits for a second, a busy machine may take longer
        received.clear();
        send({{vk::leftShift, true}});
        auto pasting = std::async(std::launch::async, [] { sendPasteShortcut([] { return true; }); });
        std::this_thread::sleep_for(50ms);
        send({{vk::leftShift, false}});
        EXPECT_TRUE(receives(6));
        waited = Keys(received.begin() + 2, received.end()) == shortcut;
    }
    EXPECT_TRUE(waited);
}

TEST_F(Desktop, PasteKeepsOutOfAHeldHotkey)
{
    EXPECT_FALSE(sendPasteShortcut([] { return false; }));
    send(strokeK);
    EXPECT_TRUE(receives(2));
    EXPECT_EQ(received, strokeK);
}

TEST(WindowsTermination, HearsOfTheEndOfTheSessionAndOfRequestsToClose)
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
        EXPECT_EQ(calls, "finish end ");
        SendMessageW(window, WM_CLOSE, 0, 0);
        EXPECT_EQ(calls, "finish end end ");
    }
    EXPECT_FALSE(FindWindowW(L"QuilloTermination", nullptr));
}

TEST(WindowsTermination, HearsOfAnInterruptInItsConsole)
{
    EXPECT_EQ(Child(L"interrupt-console", CREATE_NEW_CONSOLE).exitCode(), 0U);
}

} // namespace
} // namespace quillo::platform

int main(int argc, char** argv)
{
    using namespace quillo::platform;
    const std::string part = argc == 2 ? argv[1] : "";
    if (part == "interrupt-console")
        return interruptConsole();
    if (part == "take-focus") {
        takeFocus();
        Sleep(INFINITE); // until the parent ends us
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
