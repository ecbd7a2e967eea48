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
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quillo::platform {

bool operator==(const KeyEvent& a, const KeyEvent& b)
{
    return a.virtualKey == b.virtualKey && a.down == b.down;
}

void PrintTo(const KeyEvent& event, std::ostream* out)
{
    *out << "0x" << std::hex << event.virtualKey << std::dec << (event.down ? " down" : " up");
}

namespace {

using namespace std::chrono_literals;
using Keys = std::vector<KeyEvent>;

constexpr auto patience = 20s;
const auto always = [] { return true; };
constexpr const char* guardName = "Quillo_Test_\u00e9";
constexpr const wchar_t* wideGuardName = L"Quillo_Test_\u00e9";
constexpr const wchar_t* hotkeyHeldEvent = L"Quillo_Test_HotkeyHeld";
constexpr KeyCombination defaultHotkey{modCtrl | modShift, vk::space};
constexpr KeyCombination heldHotkey{modCtrl | modAlt, vk::f1 + 8};

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
        if (!CreateProcessW(
                program, command.data(), nullptr, nullptr, FALSE, flags, nullptr, nullptr, &startup, &process_))
            ADD_FAILURE() << "cannot start a second process, error " << GetLastError();
    }
    ~Child()
    {
        TerminateProcess(process_.hProcess, 99);
        exitCode();
        CloseHandle(process_.hThread);
        CloseHandle(process_.hProcess);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

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

int holdHotkey()
{
    if (!RegisterHotKey(nullptr, 1, heldHotkey.modifiers, heldHotkey.virtualKey))
        return 1;
    SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, hotkeyHeldEvent));
    Sleep(60'000); // until the parent ends us
    return 0;
}

/// A window with the keyboard focus.
class FocusedWindow {
public:
    explicit FocusedWindow(const wchar_t* className)
        : handle_(CreateWindowW(
            className, L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 10, 10, 300, 200, nullptr, nullptr, nullptr, nullptr))
    {
        focus();
    }
    ~FocusedWindow() { DestroyWindow(handle_); }
    FocusedWindow(const FocusedWindow&) = delete;
    FocusedWindow& operator=(const FocusedWindow&) = delete;

    HWND handle() const { return handle_; }

    void focus() const
    {
        SetForegroundWindow(handle_);
        SetFocus(handle_);
        EXPECT_TRUE(pumpUntil([this] { return GetForegroundWindow() == handle_ && GetFocus() == handle_; }));
    }

private:
    HWND handle_;
};

int interruptConsole()
{
    SetConsoleCtrlHandler(nullptr, FALSE); // the setting not to hear of it is inherited
    bool requested = false;
    const TerminationRequests termination({[] {}, [&] { requested = true; }});
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) && pumpUntil([&] { return requested; }) ? 0 : 1;
}

int takeFocus()
{
    const FocusedWindow window(L"EDIT");
    pumpUntil([] { return false; });
    return 0;
}

/// A test with the focus in a window that notes every key it gets.
class Desktop : public testing::Test {
protected:
    void SetUp() override
    {
        window().focus();
        received.clear();
    }

    /// One window for all tests: each new one costs seconds where no window manager runs.
    static const FocusedWindow& window()
    {
        static const FocusedWindow recorder(recorderClass());
        return recorder;
    }
    static bool receives(std::size_t count)
    {
        return pumpUntil([count] { return received.size() >= count; });
    }

    static inline Keys received;

private:
    static const wchar_t* recorderClass()
    {
        WNDCLASSW recorder{};
        recorder.lpfnWndProc = &Desktop::record;
        recorder.lpszClassName = L"QuilloTestRecorder";
        RegisterClassW(&recorder);
        return recorder.lpszClassName;
    }
    static LRESULT CALLBACK record(HWND handle, UINT message, WPARAM key, LPARAM details)
    {
        const bool down = message == WM_KEYDOWN || message == WM_SYSKEYDOWN;
        if (down || message == WM_KEYUP || message == WM_SYSKEYUP) {
            received.push_back({static_cast<std::uint32_t>(key), down});
            return 0;
        }
        return DefWindowProcW(handle, message, key, details);
    }
};

using KeyboardHookTest = Desktop;
using ClipboardTest = Desktop;
using PasteTest = Desktop;

/// A KeyboardHook that runs on a thread of its own, is put back when it is lost, and notes what it delivers.
class HookThread {
public:
    using Decision = std::function<bool(const KeyboardHook&, const KeyEvent&)>;

    explicit HookThread(Decision swallow)
        : swallow_(std::move(swallow))
    {
        std::promise<bool> promise;
        std::future<bool> installed = promise.get_future();
        thread_ = std::thread([this, promise = std::move(promise)]() mutable {
            promise.set_value(install());
            while (running_) {
                hook_.run(running_);
                if (running_)
                    install();
            }
        });
        EXPECT_TRUE(installed.get()) << "error " << hook_.error();
    }
    ~HookThread()
    {
        running_ = false;
        hook_.wake();
        thread_.join();
    }
    HookThread(const HookThread&) = delete;
    HookThread& operator=(const HookThread&) = delete;

    Keys seen() const
    {
        const std::lock_guard lock(mutex_);
        return seen_;
    }
    int installs() const { return installs_; }

private:
    bool install()
    {
        const bool installed = hook_.install(defaultHotkey, [this](const KeyEvent& event) { return note(event); });
        installs_ += installed;
        return installed;
    }
    bool note(const KeyEvent& event)
    {
        const bool swallow = swallow_(hook_, event);
        const std::lock_guard lock(mutex_);
        seen_.push_back(event);
        return swallow;
    }

    KeyboardHook hook_;
    std::atomic<bool> running_ = true;
    std::atomic<int> installs_ = 0;
    Decision swallow_;
    mutable std::mutex mutex_;
    Keys seen_;
    std::thread thread_;
};

void send(const Keys& keys)
{
    std::vector<INPUT> inputs;
    for (const KeyEvent& key : keys) {
        INPUT input{};
        input.type = INPUT_KEYBOARD;
        input.ki.wVk = static_cast<WORD>(key.virtualKey);
        input.ki.dwFlags = key.down ? 0 : KEYEVENTF_KEYUP;
        inputs.push_back(input);
    }
    ASSERT_EQ(SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT)), inputs.size());
}

bool swallowJ(const KeyboardHook&, const KeyEvent& event)
{
    return event.virtualKey == 'J';
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

TEST(InstanceGuard, belongsToOneProcessUntilThatEnds)
{
    EXPECT_EQ(Child(L"take-guard").exitCode(), 0u);
    EXPECT_TRUE(takeInstanceGuard(guardName));
    EXPECT_EQ(Child(L"take-guard").exitCode(), 1u);
    EXPECT_FALSE(takeInstanceGuard(guardName));

    const HANDLE named = OpenMutexW(SYNCHRONIZE, FALSE, wideGuardName);
    EXPECT_TRUE(named) << "the mutex has another name";
    CloseHandle(named);
}

TEST(InstanceGuard, aRefusedLockDoesNotKeepTheProgramFromStarting)
{
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, L"Quillo_Test_NoMutex");
    EXPECT_TRUE(takeInstanceGuard("Quillo_Test_NoMutex")); // the name belongs to an object of another kind
    CloseHandle(event);
}

TEST(DataRoot, isTheRoamingFolderInUtf8)
{
    const std::string folder = dataRoot();
    wchar_t wide[MAX_PATH]{};
    ASSERT_GT(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, folder.c_str(), -1, wide, MAX_PATH), 3);
    EXPECT_STREQ(wide, _wgetenv(L"APPDATA"));
    EXPECT_EQ(folder.substr(1, 2), ":\\");
    EXPECT_NE(folder.back(), '\\');
    EXPECT_EQ(folder.find('\0'), std::string::npos);
    EXPECT_EQ(dataRoot(), folder);
}

TEST(HotkeyProbe, leavesAFreeCombinationFree)
{
    EXPECT_EQ(probeHotkey(defaultHotkey), ProbeResult::Available);
    EXPECT_EQ(probeHotkey(defaultHotkey), ProbeResult::Available);
    EXPECT_EQ(probeHotkey({0, 'K'}), ProbeResult::Available);
}

TEST(HotkeyProbe, tellsACombinationOfAnotherProcess)
{
    const HANDLE held = CreateEventW(nullptr, TRUE, FALSE, hotkeyHeldEvent);
    {
        const Child holder(L"hold-hotkey");
        ASSERT_EQ(WaitForSingleObject(held, 20'000), WAIT_OBJECT_0);
        EXPECT_EQ(probeHotkey(heldHotkey), ProbeResult::HeldByAnother);
        EXPECT_EQ(probeHotkey({modCtrl, heldHotkey.virtualKey}), ProbeResult::Available);
    }
    EXPECT_TRUE(pumpUntil([] { return probeHotkey(heldHotkey) == ProbeResult::Available; }));
    CloseHandle(held);
}

TEST_F(KeyboardHookTest, swallowsWhatItsHandlerSwallows)
{
    const HookThread thread(&swallowJ);
    send(strokesJK); // once K is there, J would be there as well
    EXPECT_TRUE(receives(2));
    EXPECT_EQ(received, strokeK);
    EXPECT_EQ(thread.seen(), strokesJK);
}

// Else the window would open its menu when Alt comes up.
TEST_F(KeyboardHookTest, altIsNotAloneWhenItsKeyIsSwallowed)
{
    const HookThread thread(&swallowJ);
    send({{vk::leftMenu, true}, {'J', true}, {'J', false}, {vk::leftMenu, false}});
    EXPECT_TRUE(receives(4));
    EXPECT_EQ(received, (Keys{{vk::menu, true}, {0xE8, true}, {0xE8, false}, {vk::menu, false}}));
    received.clear();
    send({{vk::leftShift, true}, {'J', true}, {'J', false}, {vk::leftShift, false}});
    EXPECT_TRUE(receives(2));
    EXPECT_EQ(received, (Keys{{vk::shift, true}, {vk::shift, false}})) << "nothing to prevent";
}

struct Modifier {
    std::uint32_t sent;
    std::uint32_t asked;
};

class KeyboardHookModifiers : public Desktop, public testing::WithParamInterface<Modifier> { };

TEST_P(KeyboardHookModifiers, areKnownWhileTheirKeyIsDown)
{
    const auto [sent, asked] = GetParam();
    std::atomic<int> downAtJ = 0;
    std::atomic<int> downAtK = 0;
    const HookThread thread([&, key = asked](const KeyboardHook& hook, const KeyEvent& event) {
        downAtJ += event.virtualKey == 'J' && hook.isDown(key);
        downAtK += event.virtualKey == 'K' && hook.isDown(key);
        return event.virtualKey == 'J' || event.virtualKey == 'K';
    });
    send({{sent, true}, {'J', true}, {'J', false}, {sent, false}, {'K', true}, {'K', false}});
    EXPECT_TRUE(pumpUntil([&] { return thread.seen().size() >= 6 && received.size() >= 2; }));
    EXPECT_EQ(downAtJ, 2); // also with Alt, whose keys come as system keys
    EXPECT_EQ(downAtK, 0);
}

INSTANTIATE_TEST_SUITE_P(Sides, KeyboardHookModifiers,
    testing::Values(Modifier{vk::leftShift, vk::shift}, Modifier{vk::rightShift, vk::shift},
        Modifier{vk::leftControl, vk::control}, Modifier{vk::rightControl, vk::control},
        Modifier{vk::leftMenu, vk::menu}, Modifier{vk::rightMenu, vk::menu}, Modifier{vk::leftWin, vk::leftWin},
        Modifier{vk::rightWin, vk::rightWin}));

void installAndStop(KeyboardHook& hook)
{
    std::atomic<bool> running = false;
    ASSERT_TRUE(hook.install(defaultHotkey, [](const KeyEvent&) { return true; }));
    hook.wake();
    hook.run(running);
}

TEST_F(KeyboardHookTest, isGoneWhenStoppedBeforeItsRun)
{
    KeyboardHook hook;
    installAndStop(hook);
    send(strokeJ);
    EXPECT_TRUE(receives(2));
    EXPECT_EQ(received, strokeJ);
}

TEST_F(KeyboardHookTest, comesBackOnTheSameThread)
{
    KeyboardHook hook;
    installAndStop(hook); // leaves a wake-up behind that must not end the next run
    std::atomic<bool> running = true;
    std::size_t seen = 0;
    ASSERT_TRUE(hook.install(
        defaultHotkey,
        [&](const KeyEvent&) {
            running = ++seen < strokesJK.size();
            return true;
        }));
    std::thread typist([] { send(strokesJK); });
    hook.run(running);
    typist.join();
    EXPECT_EQ(seen, strokesJK.size());
}

TEST_F(KeyboardHookTest, endsAtTheSystemsRequest)
{
    KeyboardHook hook;
    std::atomic<bool> running = true;
    ASSERT_TRUE(hook.install(defaultHotkey, [](const KeyEvent&) { return true; }));
    PostThreadMessageW(GetCurrentThreadId(), WM_QUIT, 0, 0);
    hook.run(running);
    EXPECT_FALSE(running);
}

TEST_F(KeyboardHookTest, comesBackAfterSleepAndWhenTheSessionChangesHands)
{
    const HookThread thread(&swallowJ);
    const auto tell = [](UINT message, WPARAM event) {
        const HWND window = FindWindowW(L"QuilloHookWatch", nullptr);
        return window && SendMessageTimeoutW(window, message, event, 0, SMTO_NORMAL, 20'000, nullptr);
    };
    tell(WM_POWERBROADCAST, PBT_APMPOWERSTATUSCHANGE);
    tell(WM_CLOSE, 0);
    EXPECT_EQ(thread.installs(), 1);

    int installs = 1;
    const std::pair<UINT, WPARAM> signs[]{
        {WM_POWERBROADCAST, PBT_APMSUSPEND},
        {WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC},
        {WM_POWERBROADCAST, PBT_APMRESUMESUSPEND},
        {WM_WTSSESSION_CHANGE, WTS_SESSION_LOCK},
        {WM_WTSSESSION_CHANGE, WTS_SESSION_UNLOCK},
        {WM_WTSSESSION_CHANGE, WTS_CONSOLE_CONNECT},
    };
    for (const auto& [message, event] : signs) {
        EXPECT_TRUE(tell(message, event));
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

TEST_F(KeyboardHookTest, comesBackWhenItIsNoLongerCalledWhileAnotherProgramHasTheFocus)
{
    const Child other(L"take-focus");
    ASSERT_TRUE(pumpUntil([&] { return other.hasFocus(); }));
    const HookThread thread(&swallowJ);
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

TEST_F(ClipboardTest, carriesTextUnchanged)
{
    std::string longText;
    std::wstring longWide;
    for (int i = 0; i < 10'000; ++i) {
        longText += "words \u2713 ";
        longWide += L"words \u2713 ";
    }
    const std::pair<std::string, std::wstring> texts[]{
        {"plain", L"plain"},
        {"h\u00e9llo \u00fc \u2713 \U0001F600 \u65e5\u672c", L"h\u00e9llo \u00fc \u2713 \U0001F600 \u65e5\u672c"},
        {"two\r\nlines\t", L"two\r\nlines\t"},
        {longText, longWide},
    };
    for (const auto& [utf8, wide] : texts) {
        EXPECT_TRUE(setClipboardText(utf8));
        EXPECT_TRUE(clipboardText() == wide) << "text of " << utf8.size() << " bytes";
    }
}

TEST_F(ClipboardTest, replacesEverythingThatWasThere)
{
    const UINT format = RegisterClipboardFormatW(L"QuilloTestFormat");
    ASSERT_TRUE(OpenClipboard(nullptr));
    SetClipboardData(format, GlobalAlloc(GMEM_MOVEABLE, 8));
    CloseClipboard();
    ASSERT_TRUE(IsClipboardFormatAvailable(format));
    EXPECT_TRUE(setClipboardText("new"));
    EXPECT_FALSE(IsClipboardFormatAvailable(format));
}

TEST_F(ClipboardTest, isLeftAloneWhileAnotherHoldsIt)
{
    ASSERT_TRUE(setClipboardText("before"));
    ASSERT_TRUE(OpenClipboard(window().handle()));
    EXPECT_FALSE(setClipboardText("after"));
    CloseClipboard();
    EXPECT_EQ(clipboardText(), L"before");
    EXPECT_TRUE(setClipboardText("after"));
}

TEST_F(ClipboardTest, isWaitedForWhileAnotherHoldsItForAMoment)
{
    bool set = false;
    for (int attempt = 0; attempt < 5 && !set; ++attempt) { // a busy machine may hold it for more than a moment
        ASSERT_TRUE(OpenClipboard(window().handle()));
        auto setting = std::async(std::launch::async, [] { return setClipboardText("patient"); });
        std::this_thread::sleep_for(30ms);
        CloseClipboard();
        set = setting.get();
    }
    EXPECT_TRUE(set);
    EXPECT_EQ(clipboardText(), L"patient");
}

TEST_F(PasteTest, isTheShortcutAsOneUndisturbedSequence)
{
    const Keys shortcut{{vk::control, true}, {'V', true}, {'V', false}, {vk::control, false}};
    const HookThread thread(&swallowJ);
    sendPasteShortcut(always);
    EXPECT_TRUE(receives(4));
    EXPECT_EQ(received, shortcut);

    Keys seen = thread.seen();
    for (KeyEvent& event : seen) // a hook is told the side of a modifier
        event.virtualKey = event.virtualKey == vk::leftControl ? vk::control : event.virtualKey;
    EXPECT_EQ(seen, shortcut);
}

TEST_F(PasteTest, waitsForModifiersToComeUp)
{
    const auto shiftIsUpAtV = [] {
        received.clear();
        send({{vk::leftShift, true}});
        auto pasting = std::async(std::launch::async, [] { sendPasteShortcut(always); });
        std::this_thread::sleep_for(50ms);
        send({{vk::leftShift, false}});
        EXPECT_TRUE(receives(6));
        return received[1] == KeyEvent{vk::shift, false};
    };
    bool waited = false;
    for (int attempt = 0; attempt < 5 && !waited; ++attempt) // it waits for a second, a busy machine may take longer
        waited = shiftIsUpAtV();
    EXPECT_TRUE(waited);
}

TEST_F(PasteTest, insertsTheTextIntoTheFocusedField)
{
    const FocusedWindow field(L"EDIT");
    ASSERT_TRUE(setClipboardText("d\u00e9j\u00e0 vu \u2713 \U0001F600"));
    sendPasteShortcut(always);
    wchar_t text[64]{};
    EXPECT_TRUE(pumpUntil([&] { return GetWindowTextW(field.handle(), text, 64) > 0; }));
    EXPECT_STREQ(text, L"d\u00e9j\u00e0 vu \u2713 \U0001F600");
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

TEST(WindowsProgramFolder, HoldsTheProgram)
{
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::u8string folder = std::filesystem::path(path).parent_path().u8string();
    EXPECT_EQ(programFolder(), std::string(folder.begin(), folder.end()));
}

} // namespace
} // namespace quillo::platform

int main(int argc, char** argv)
{
    using namespace quillo::platform;
    const std::string part = argc == 2 ? argv[1] : "";
    if (part == "take-guard")
        return takeInstanceGuard(guardName) ? 0 : 1;
    if (part == "hold-hotkey")
        return holdHotkey();
    if (part == "interrupt-console")
        return interruptConsole();
    if (part == "take-focus")
        return takeFocus();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
