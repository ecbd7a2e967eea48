#include "hotkey/hotkey_manager.h"
#include "hotkey/key_decision.h"
#include "platform/clipboard.h"
#include "platform/hotkey_probe.h"
#include "platform/key_event.h"
#include "platform/keyboard_hook.h"
#include "platform/x11/desktop.h"
#include "stand_ins/pressed_keys.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <future>
#include <mutex>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include <X11/XKBlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>

namespace quillo::platform {
namespace {

constexpr KeyCombination ctrlShiftSpace{modCtrl | modShift, vk::space};
constexpr std::uint32_t markerKey = vk::f1 + 11;

std::string letterOf(KeyAction action)
{
    return action == KeyAction::Press ? "P" : action == KeyAction::Release ? "R" : "";
}

// A running hook whose handler decides as the program's does and logs "P" for a press, "R" for a release.
class Watch {
public:
    explicit Watch(const KeyCombination& watched)
    {
        std::promise<bool> installed;
        thread_ = std::thread([this, watched, &installed] {
            const auto handler = [this, watched](const KeyEvent& event) { return decide(watched, event); };
            installed.set_value(hook_.install(watched, handler));
            hook_.run(running_);
        });
        EXPECT_TRUE(installed.get_future().get()) << hook_.error();
    }
    ~Watch()
    {
        running_ = false;
        hook_.wake();
        thread_.join();
    }
    std::string log()
    {
        const std::lock_guard lock(mutex_);
        return log_;
    }

    std::atomic<bool> throws = false;
    std::atomic<int> markers = 0; // key-ups of F12

private:
    bool decide(const KeyCombination& watched, const KeyEvent& event)
    {
        if (throws)
            throw std::runtime_error("handler failed");
        markers += event.virtualKey == markerKey && !event.down;
        const KeyDecision decision =
            decideKey(watched, event, pressed_, [this](std::uint32_t key) { return hook_.isDown(key); });
        const std::lock_guard lock(mutex_);
        log_ += letterOf(decision.action);
        return decision.swallow;
    }

    KeyboardHook hook_;
    std::atomic<bool> running_ = true;
    std::atomic<bool> pressed_ = false;
    std::mutex mutex_;
    std::string log_;
    std::thread thread_;
};

class X11Keyboard : public testing::Test {
protected:
    // What the application has seen so far. The marker, typed last, proves that nothing holds the keyboard up and that
    // all earlier events have been dealt with.
    std::string seen(Watch* watch)
    {
        const int before = watch ? watch->markers.load() : 0;
        user_.type("+F12 -F12");
        std::string keys = application_.takeKeysUntil("-F12");
        EXPECT_TRUE(!watch || eventually([&] { return watch->markers > before; }));
        const std::size_t end = keys.rfind("+F12");
        return end == 0 || end == std::string::npos ? std::string() : keys.substr(0, end - 1);
    }

    Application application_;
    User user_;
};

struct Scenario {
    const char* name;
    KeyCombination watched;
    const char* typed;
    const char* log;
    const char* seen; // by the application; null for everything
};

class X11KeyboardScenario : public X11Keyboard, public testing::WithParamInterface<Scenario> { };

TEST_P(X11KeyboardScenario, DeliversAndSwallows)
{
    const Scenario& scenario = GetParam();
    Watch watch(scenario.watched);
    user_.type(scenario.typed);
    EXPECT_EQ(seen(&watch), scenario.seen ? scenario.seen : scenario.typed);
    EXPECT_EQ(watch.log(), scenario.log);
}

const Scenario scenarios[] = {
    {"Twice", ctrlShiftSpace, "+Control_R +Shift_R +space -space +space * -space -Shift_R -Control_R", "PRPR",
        "+Control_R +Shift_R -Shift_R -Control_R"},
    {"ModifierFirstThenRepeats", ctrlShiftSpace,
        "+Control_L +Shift_L +space * -Shift_L * +Alt_L * -Alt_L * -Control_L * -space +space -space", "PR",
        "+Control_L +Shift_L -Shift_L +Alt_L -Alt_L -Control_L -space +space -space"},
    {"ModifierAgainWhileKeyHeld", ctrlShiftSpace,
        "+Control_L +Shift_L +space -Control_L * +Control_L * -space +space * -space -Shift_L -Control_L", "PRPR",
        "+Control_L +Shift_L -Control_L +Control_L -space -Shift_L -Control_L"},
    {"LocksOn", ctrlShiftSpace,
        "+Caps_Lock -Caps_Lock +Num_Lock -Num_Lock +Control_L +Shift_L +space -space -Shift_L -Control_L "
        "+Caps_Lock -Caps_Lock +Num_Lock -Num_Lock",
        "PR",
        "+Caps_Lock -Caps_Lock +Num_Lock -Num_Lock +Control_L +Shift_L -Shift_L -Control_L +Caps_Lock -Caps_Lock "
        "+Num_Lock -Num_Lock"},
    {"WinAndEitherEnter", {modWin, vk::enter}, "+Super_L +KP_Enter -KP_Enter +Return -Return -Super_L", "PRPR",
        "+Super_L -Super_L"},
    {"KeyWithoutModifiers", {0, vk::f1 + 8}, "+F9 * -F9 +Control_L +F9 -Control_L * -F9", "PRPR",
        "+Control_L -Control_L -F9"},
    {"AltAndLetter", {modAlt, 'Q'}, "+Alt_R +q -q -Alt_R +q -q", "PR", "+Alt_R -Alt_R +q -q"},
};
INSTANTIATE_TEST_SUITE_P(, X11KeyboardScenario, testing::ValuesIn(scenarios),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(X11Keyboard, DeliversAndSwallowsInAStormOfEvents)
{
    constexpr int events = 800;
    const std::pair<std::string, std::uint32_t> keys[] = {{"Control_L", vk::leftControl},
        {"Control_R", vk::rightControl}, {"Shift_L", vk::leftShift}, {"Alt_L", vk::leftMenu}, {"space", vk::space},
        {"space", vk::space}, {"space", vk::space}, {"a", 'A'}};
    XAutoRepeatOff(user_.display()); // when a repeat comes would be chance
    Watch watch(ctrlShiftSpace);
    for (const unsigned seed : {1U, 2U, 3U}) {
        std::mt19937 random(seed);
        test::PressedKeys down;
        std::atomic<bool> pressed = false;
        std::string log;
        std::string passed;
        const std::string logBefore = watch.log();
        const auto toggle = [&](const std::string& name, std::uint32_t code) {
            const KeyEvent event{code, !down.isDown(code)};
            down.take(event);
            const KeyDecision decision =
                decideKey(ctrlShiftSpace, event, pressed, [&down](std::uint32_t key) { return down.isDown(key); });
            log += letterOf(decision.action);
            user_.type((event.down ? "+" : "-") + name);
            if (decision.swallow)
                return;
            passed += (passed.empty() ? "" : " ") + std::string(event.down ? "+" : "-") + name;
            // The key-up of the main key is swallowed only once the hook has taken the keyboard again.
            if (pressed)
                eventually([&] { return application_.keys().size() >= passed.size(); });
        };
        for (int i = 0; i < events; ++i) {
            const auto& [name, code] = keys[random() % std::size(keys)];
            toggle(name, code);
        }
        for (const auto& [name, code] : keys)
            if (down.isDown(code))
                toggle(name, code);
        EXPECT_EQ(seen(&watch), passed) << "seed " << seed;
        EXPECT_EQ(watch.log(), logBefore + log) << "seed " << seed;
        EXPECT_GT(log.size(), 20U);
    }
    XAutoRepeatOn(user_.display());
}

TEST_F(X11Keyboard, FailingHandlerLetsEverythingPass)
{
    Watch watch(ctrlShiftSpace);
    watch.throws = true;
    const std::string typed = "+Control_L +Shift_L +space -space -Shift_L -Control_L";
    user_.type(typed);
    EXPECT_EQ(seen(nullptr), typed);
}

TEST_F(X11Keyboard, StopDuringHoldFreesTheKeyboard)
{
    auto watch = std::make_unique<Watch>(ctrlShiftSpace);
    user_.type("+Control_L +Shift_L +space +a"); // the grab that outlasts the key included
    EXPECT_EQ(application_.takeKeysUntil("+a"), "+Control_L +Shift_L +a");
    watch.reset();
    user_.type("-a -space -Shift_L -Control_L");
    EXPECT_EQ(seen(nullptr), "-a -space -Shift_L -Control_L");
}

// The server gives a new client the lowest free place, and each client's first resource the same number in its place.
TEST_F(X11Keyboard, HookThatLosesItsConnectionIsPutBack)
{
    Connection place = connect();
    const XID resource = XGContextFromGC(DefaultGC(place.get(), 0));
    place.reset();
    XSync(user_.display(), False);
    std::atomic<int> presses = 0;
    std::atomic<int> releases = 0;
    ASSERT_TRUE(HotkeyManager::start(
        ctrlShiftSpace, [&] { ++presses; }, [&] { ++releases; }));
    user_.type("+Control_L +Shift_L +space");
    EXPECT_TRUE(eventually([&] { return presses == 1; }));
    XKillClient(user_.display(), resource);
    user_.type("-space -Shift_L -Control_L");
    EXPECT_TRUE(eventually([&] { return releases == 1; }));
    EXPECT_EQ(seen(nullptr), "+Control_L +Shift_L -space -Shift_L -Control_L");
    user_.type("+Control_L +Shift_L +space -space -Shift_L -Control_L");
    EXPECT_TRUE(eventually([&] { return releases == 2; }));
    EXPECT_EQ(presses, 2);
    EXPECT_EQ(seen(nullptr), "+Control_L +Shift_L -Shift_L -Control_L");
    HotkeyManager::stop();
}

TEST(X11Display, LosingTheToolkitsConnectionEndsTheProcessAtOnce)
{
    const auto lose = [] {
        const Connection toolkit = connect();
        probeHotkey(ctrlShiftSpace); // on a connection of its own
        std::atexit([] { std::_Exit(EXIT_SUCCESS); });
        XKillClient(toolkit.get(), XGContextFromGC(DefaultGC(toolkit.get(), 0)));
        XSync(toolkit.get(), False);
    };
    EXPECT_EXIT(lose(), testing::ExitedWithCode(EXIT_FAILURE), "The connection to the X server is broken");
}

class X11Layout : public X11Keyboard {
protected:
    ~X11Layout() override
    {
        arrange({XK_j}, {XK_k});
        XkbLockGroup(user_.display(), XkbUseCoreKbd, 0);
        XSync(user_.display(), False);
    }

    // Gives two keys these letters: one letter for each layout.
    void arrange(const std::vector<KeySym>& first, const std::vector<KeySym>& second)
    {
        const auto put = [this](unsigned key, const std::vector<KeySym>& letters) {
            std::vector<KeySym> keysyms;
            for (const KeySym letter : letters)
                keysyms.insert(keysyms.end(), {letter, letter - XK_a + XK_A});
            XChangeKeyboardMapping(
                user_.display(), static_cast<int>(key), static_cast<int>(keysyms.size()), keysyms.data(), 1);
        };
        put(j_, first);
        put(k_, second);
    }
    void tapWithControl(unsigned key)
    {
        user_.type("+Control_L");
        for (const bool down : {true, false})
            user_.send(key, down);
        user_.type("-Control_L");
    }

    const unsigned j_ = user_.keycode("j");
    const unsigned k_ = user_.keycode("k");
};

TEST_F(X11Layout, HotkeyFollowsItsLetter)
{
    Watch watch({modCtrl, 'K'});
    const auto ctrlTap = [&](unsigned key) {
        seen(&watch); // the hook has heard of the change
        tapWithControl(key);
        seen(&watch);
        return watch.log();
    };
    arrange({XK_k}, {XK_j});
    EXPECT_EQ(ctrlTap(k_), "") << "on the letter's old key";
    EXPECT_EQ(ctrlTap(j_), "PR") << "on its new key";
    arrange({XK_j, XK_k}, {XK_k, XK_j});
    EXPECT_EQ(ctrlTap(j_), "PR") << "in the first layout, on the other layout's key";
    EXPECT_EQ(ctrlTap(k_), "PRPR") << "in the first layout";
    XkbLockGroup(user_.display(), XkbUseCoreKbd, 1);
    EXPECT_EQ(ctrlTap(k_), "PRPR") << "in the second layout, on the other layout's key";
    EXPECT_EQ(ctrlTap(j_), "PRPRPR") << "in the second layout";
}

TEST_F(X11Layout, LetterMovedDuringHoldIsReleased)
{
    Watch watch({modCtrl, 'K'});
    user_.type("+Control_L +k");
    EXPECT_TRUE(eventually([&] { return watch.log() == "P"; }));
    arrange({XK_k}, {XK_j});
    XSync(user_.display(), False);
    EXPECT_TRUE(eventually([&] { return watch.log() == "PR"; }));
    user_.send(k_, false);
    user_.type("-Control_L");
    seen(&watch);
    EXPECT_EQ(watch.log(), "PR");
}

TEST_F(X11Layout, LetterThatNoLayoutHasIsWhereUsKeyboardsHaveIt)
{
    KeySym cyrillic = XK_Cyrillic_el;
    XChangeKeyboardMapping(user_.display(), static_cast<int>(k_), 1, &cyrillic, 1);
    XSync(user_.display(), False);
    Watch watch({modCtrl, 'K'});
    tapWithControl(k_);
    EXPECT_EQ(seen(&watch), "+Control_L -Control_L");
    EXPECT_EQ(watch.log(), "PR");
}

TEST_F(X11Keyboard, PasteShortcutKeepsOutOfAHeldHotkey)
{
    Watch watch({0, vk::f1 + 8});
    user_.type("+F9");
    int asked = 0;
    EXPECT_FALSE(sendPasteShortcut([&] { return ++asked < 4; })) << "the hook may not have heard of the key yet";
    user_.type("-F9");
    EXPECT_TRUE(eventually([&] { return watch.log() == "PR"; }));
    EXPECT_TRUE(sendPasteShortcut([&] { return watch.log() == "PR"; }));
    EXPECT_EQ(seen(&watch), "+Control_L +v -v -Control_L");
}

TEST_F(X11Layout, DigitIsItsKeyWhateverShiftMakesOfIt)
{
    const unsigned key = user_.keycode("4");
    for (const std::array<KeySym, 2>& signs : {std::array<KeySym, 2>{XK_apostrophe, XK_4}, {XK_4, XK_dollar}}) {
        auto keysyms = signs; // first the French layout's, last the one that other tests find
        XChangeKeyboardMapping(user_.display(), static_cast<int>(key), 2, keysyms.data(), 1);
        XSync(user_.display(), False);
        EXPECT_EQ(virtualKeyOfEvent(key, 0), std::uint32_t{'4'}) << XKeysymToString(signs[0]);
    }
    EXPECT_EQ(virtualKeyOfEvent(0xFFFF, 0), 0U);
}

class X11OtherProgram : public X11Keyboard {
protected:
    // Holds the combination with the old kind of grab or with that of the input extension.
    void occupy(bool byInputExtension)
    {
        const unsigned key = user_.keycode("space");
        constexpr unsigned state = ControlMask | ShiftMask;
        if (!byInputExtension) {
            XGrabKey(other_.get(), static_cast<int>(key), state, DefaultRootWindow(other_.get()), False, GrabModeAsync,
                GrabModeAsync);
        } else {
            unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
            XISetMask(bits, XI_KeyPress);
            XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
            XIGrabModifiers modifiers{state, 0};
            XIGrabKeycode(other_.get(), XIAllMasterDevices, static_cast<int>(key), DefaultRootWindow(other_.get()),
                XIGrabModeAsync, XIGrabModeAsync, False, &mask, 1, &modifiers);
        }
        XSync(other_.get(), False);
    }

    Connection other_ = connect();
};

TEST_F(X11OtherProgram, HeldCombinationIsStillWatched)
{
    occupy(false);
    Watch watch(ctrlShiftSpace);
    EXPECT_EQ(probeHotkey(ctrlShiftSpace), ProbeResult::HeldByAnother);
    user_.type("+Control_L +Shift_L +space -space");
    EXPECT_TRUE(eventually([&] { return watch.log() == "PR"; }));
    EXPECT_GE(XPending(other_.get()), 1); // nothing was taken from its holder
    user_.type("+Alt_L +space -space -Alt_L -Shift_L -Control_L"); // not held by it
    EXPECT_EQ(seen(&watch), "+Control_L +Shift_L +Alt_L -Alt_L -Shift_L -Control_L");
    EXPECT_EQ(watch.log(), "PRPR");
}

TEST_F(X11OtherProgram, HotkeyIsHeardWhileAScreenLockHasTheKeyboard)
{
    Watch watch(ctrlShiftSpace);
    Display* const lock = other_.get();
    XGrabKeyboard(lock, DefaultRootWindow(lock), False, GrabModeAsync, GrabModeAsync, CurrentTime);
    XSync(lock, False);
    user_.type("+Control_L +Shift_L +space -space -Shift_L -Control_L");
    EXPECT_TRUE(eventually([&] { return watch.log() == "PR"; }));
    EXPECT_EQ(application_.keys(), "");
}

TEST_F(X11OtherProgram, ProbeTellsWhoHoldsTheCombination)
{
    constexpr KeyCombination withAlt{modCtrl | modShift | modAlt, vk::space};
    constexpr KeyCombination withoutShift{modCtrl, vk::space};
    EXPECT_EQ(probeHotkey(ctrlShiftSpace), ProbeResult::Available);
    {
        Watch watch(ctrlShiftSpace);
        for (const KeyCombination& combination : {ctrlShiftSpace, withAlt, withoutShift})
            EXPECT_EQ(probeHotkey(combination), ProbeResult::Available);
    }
    for (const bool byInputExtension : {true, false}) {
        occupy(byInputExtension);
        EXPECT_EQ(probeHotkey(ctrlShiftSpace), ProbeResult::HeldByAnother) << byInputExtension;
        EXPECT_EQ(probeHotkey(withAlt), ProbeResult::Available) << byInputExtension;
        other_ = connect();
        XSync(other_.get(), False);
        EXPECT_TRUE(eventually([] { return probeHotkey(ctrlShiftSpace) == ProbeResult::Available; }));
    }
    constexpr std::uint32_t noSuchKey = 0xFF;
    EXPECT_EQ(probeHotkey({modCtrl, noSuchKey}), ProbeResult::Failed);
    {
        const NoServer noServer;
        EXPECT_EQ(probeHotkey(ctrlShiftSpace), ProbeResult::Failed);
        KeyboardHook hook;
        EXPECT_FALSE(hook.install(ctrlShiftSpace, [](const KeyEvent&) { return false; }));
        EXPECT_NE(hook.error(), 0U);
    }
}

} // namespace
} // namespace quillo::platform
