#include "platform/hotkey_probe.h"
#include "platform/keyboard_hook.h"
#include "platform/x11/desktop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>

#include <X11/XKBlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace quillo::platform {
namespace {

constexpr KeyCombination ctrlShiftSpace{modCtrl | modShift, vk::space};
constexpr std::uint32_t markerKey = vk::f1 + 11;

bool isModifier(std::uint32_t key)
{
    return (key >= vk::leftShift && key <= vk::rightMenu) || key == vk::leftWin || key == vk::rightWin;
}

// A running hook whose handler decides as the program's does and logs "P" for a press, "R" for a release.
class Watch {
public:
    explicit Watch(const KeyCombination& watched)
        : watched_(watched)
    {
        std::promise<bool> installed;
        thread_ = std::thread([this, &installed] {
            const bool ok = hook_.install(watched_, [this](const KeyEvent& event) { return decide(event); });
            installed.set_value(ok);
            hook_.run(running_);
            returned = true;
        });
        EXPECT_TRUE(installed.get_future().get()) << hook_.error();
    }
    ~Watch() { stop(); }

    void stop()
    {
        running_ = false;
        hook_.wake();
        if (thread_.joinable())
            thread_.join();
    }
    std::string log()
    {
        const std::lock_guard lock(mutex_);
        return log_;
    }

    std::atomic<bool> returned = false;
    std::atomic<bool> throws = false;
    std::atomic<int> markers = 0; // key-ups of F12
    std::atomic<int> mainDowns = 0;

private:
    bool decide(const KeyEvent& event)
    {
        if (throws)
            throw std::runtime_error("handler failed");
        if (event.virtualKey == markerKey && !event.down)
            ++markers;
        if (event.virtualKey == watched_.virtualKey)
            return event.down ? mainDown() : release();
        if (!event.down && isModifier(event.virtualKey))
            release();
        return false;
    }
    bool mainDown()
    {
        ++mainDowns;
        const auto missing = [this](std::uint32_t bit, std::uint32_t key) {
            return (watched_.modifiers & bit) && !hook_.isDown(key);
        };
        if (missing(modAlt, vk::menu) || missing(modCtrl, vk::control) || missing(modShift, vk::shift)
            || (missing(modWin, vk::leftWin) && missing(modWin, vk::rightWin)))
            return false;
        if (!std::exchange(pressed_, true))
            append('P');
        return true;
    }
    bool release()
    {
        const bool was = std::exchange(pressed_, false);
        if (was)
            append('R');
        return was;
    }
    void append(char what)
    {
        const std::lock_guard lock(mutex_);
        log_ += what;
    }

    const KeyCombination watched_;
    KeyboardHook hook_;
    std::atomic<bool> running_ = true;
    bool pressed_ = false; // hook thread
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
        typist_.type("+F12 -F12");
        std::string keys = application_.takeKeysUntil("-F12");
        EXPECT_TRUE(!watch || eventually([&] { return watch->markers > before; }));
        const std::size_t end = keys.rfind("+F12");
        return end == 0 || end == std::string::npos ? std::string() : keys.substr(0, end - 1);
    }

    Application application_;
    Typist typist_;
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
    typist_.type(scenario.typed);
    EXPECT_EQ(seen(&watch), scenario.seen ? scenario.seen : scenario.typed);
    EXPECT_EQ(watch.log(), scenario.log);
}

const Scenario scenarios[] = {
    {"HoldAndRepeat", ctrlShiftSpace, "+Control_L +Shift_L +space * -space -Shift_L -Control_L", "PR",
        "+Control_L +Shift_L -Shift_L -Control_L"},
    {"Twice", ctrlShiftSpace, "+Control_R +Shift_R +space -space +space * -space -Shift_R -Control_R", "PRPR",
        "+Control_R +Shift_R -Shift_R -Control_R"},
    {"KeyAlone", ctrlShiftSpace, "+space -space +space -space", "", nullptr},
    {"TooFewModifiers", ctrlShiftSpace, "+Control_L +space -space +Alt_L +space -space -Alt_L -Control_L", "", nullptr},
    {"ModifierFirst", ctrlShiftSpace, "+Control_L +Shift_L +space -Control_L -space -Shift_L", "PR",
        "+Control_L +Shift_L -Control_L -space -Shift_L"},
    {"ModifierFirstThenRepeats", ctrlShiftSpace,
        "+Control_L +Shift_L +space * -Shift_L * +Alt_L * -Alt_L * -Control_L * -space +space -space", "PR",
        "+Control_L +Shift_L -Shift_L +Alt_L -Alt_L -Control_L -space +space -space"},
    {"ModifierAgainWhileKeyHeld", ctrlShiftSpace,
        "+Control_L +Shift_L +space -Control_L * +Control_L * -space +space * -space -Shift_L -Control_L", "PRPR",
        "+Control_L +Shift_L -Control_L +Control_L -space -Shift_L -Control_L"},
    {"ExtraAlt", ctrlShiftSpace, "+Alt_L +Control_L +Shift_L +space -space -Shift_L -Control_L -Alt_L", "PR",
        "+Alt_L +Control_L +Shift_L -Shift_L -Control_L -Alt_L"},
    {"ExtraAltPressedDuringHold", ctrlShiftSpace,
        "+Control_L +Shift_L +space +Alt_L * -Alt_L * -space -Shift_L -Control_L", "PR",
        "+Control_L +Shift_L +Alt_L -Alt_L -space -Shift_L -Control_L"},
    {"LocksOn", ctrlShiftSpace,
        "+Caps_Lock -Caps_Lock +Num_Lock -Num_Lock +Control_L +Shift_L +space -space -Shift_L -Control_L "
        "+Caps_Lock -Caps_Lock +Num_Lock -Num_Lock",
        "PR",
        "+Caps_Lock -Caps_Lock +Num_Lock -Num_Lock +Control_L +Shift_L -Shift_L -Control_L +Caps_Lock -Caps_Lock "
        "+Num_Lock -Num_Lock"},
    {"OneOfTwoCtrlKeysReleased", ctrlShiftSpace,
        "+Control_L +Control_R +Shift_L +space -Control_L * -space -Shift_L -Control_R", "PR",
        "+Control_L +Control_R +Shift_L -Control_L -space -Shift_L -Control_R"},
    {"WinAndEitherEnter", {modWin, vk::enter}, "+Super_L +KP_Enter -KP_Enter +Return -Return -Super_L", "PRPR",
        "+Super_L -Super_L"},
    {"KeyWithoutModifiers", {0, vk::f1 + 8}, "+F9 * -F9 +Control_L +F9 -Control_L * -F9", "PRPR",
        "+Control_L -Control_L -F9"},
    {"AltAndLetter", {modAlt, 'Q'}, "+Alt_R +q -q -Alt_R +q -q", "PR", "+Alt_R -Alt_R +q -q"},
};
INSTANTIATE_TEST_SUITE_P(, X11KeyboardScenario, testing::ValuesIn(scenarios),
    [](const auto& instance) { return std::string(instance.param.name); });

// Paced, because the key-up of the main key is swallowed only once the hook has taken the keyboard again.
TEST_F(X11Keyboard, OtherKeysPassDuringHold)
{
    Watch watch(ctrlShiftSpace);
    typist_.type("+Control_L +Shift_L +space +a -a");
    EXPECT_EQ(application_.takeKeysUntil("-a"), "+Control_L +Shift_L +a -a");
    typist_.type("+space -space -Shift_L -Control_L");
    EXPECT_EQ(seen(&watch), "-Shift_L -Control_L");
    EXPECT_EQ(watch.log(), "PR");
}

TEST_F(X11Keyboard, RepeatsReachOnlyTheHandlerDuringHold)
{
    Watch watch(ctrlShiftSpace);
    typist_.type("+Control_L +Shift_L +space");
    EXPECT_TRUE(eventually([&] { return watch.mainDowns > 5; }));
    typist_.type("-space -Shift_L -Control_L");
    EXPECT_EQ(seen(&watch), "+Control_L +Shift_L -Shift_L -Control_L");
    EXPECT_EQ(watch.log(), "PR");
}

// What the hook and its handler ought to make of a sequence of events, from the rules alone.
struct Model {
    std::set<std::string> down;
    bool pressed = false;
    bool spent = false;
    std::string log;
    std::string seen;

    void feed(bool isDown, const std::string& key)
    {
        if (isDown)
            down.insert(key);
        else
            down.erase(key);
        if (!swallows(isDown, key))
            seen += (seen.empty() ? "" : " ") + std::string(isDown ? "+" : "-") + key;
    }
    bool swallows(bool isDown, const std::string& key)
    {
        const bool held = (down.contains("Control_L") || down.contains("Control_R")) && down.contains("Shift_L");
        const bool was = pressed;
        if (key == "space" && isDown) {
            if (spent || !held)
                return spent;
            pressed = true;
            log += was ? "" : "P";
            return true;
        }
        if (isDown || key == "a")
            return false;
        pressed = false;
        log += was ? "R" : "";
        spent = key != "space" && (spent || (was && down.contains("space")));
        return key == "space" && was;
    }
};

TEST_F(X11Keyboard, EventStormMatchesTheRules)
{
    const std::vector<std::string> keys{"Control_L", "Control_R", "Shift_L", "Alt_L", "space", "space", "space", "a"};
    constexpr int events = 800;
    XAutoRepeatOff(typist_.display()); // when a repeat comes would be chance
    Watch watch(ctrlShiftSpace);
    for (const unsigned seed : {1U, 2U, 3U}) {
        std::mt19937 random(seed);
        Model model;
        const std::string logBefore = watch.log();
        const auto step = [&](bool down, std::string_view name) {
            const std::string key(name);
            const std::size_t before = model.seen.size();
            model.feed(down, key);
            typist_.type((down ? "+" : "-") + key);
            if (model.pressed && model.seen.size() != before) // see OtherKeysPassDuringHold
                eventually([&] { return application_.keys().size() >= model.seen.size(); });
        };
        for (int i = 0; i < events; ++i) {
            const std::string& key = keys[random() % keys.size()];
            step(!model.down.contains(key), key);
        }
        while (!model.down.empty())
            step(false, *model.down.begin());
        EXPECT_EQ(seen(&watch), model.seen) << "seed " << seed;
        EXPECT_EQ(watch.log(), logBefore + model.log) << "seed " << seed;
        EXPECT_GT(model.log.size(), 20U);
    }
    XAutoRepeatOn(typist_.display());
}

TEST_F(X11Keyboard, FailingHandlerLetsEverythingPass)
{
    Watch watch(ctrlShiftSpace);
    watch.throws = true;
    const std::string typed = "+Control_L +Shift_L +space -space -Shift_L -Control_L";
    typist_.type(typed);
    EXPECT_EQ(seen(nullptr), typed);
}

TEST_F(X11Keyboard, StopDuringHoldFreesTheKeyboard)
{
    auto watch = std::make_unique<Watch>(ctrlShiftSpace);
    typist_.type("+Control_L +Shift_L +space +a"); // the grab that outlasts the key included
    EXPECT_EQ(application_.takeKeysUntil("+a"), "+Control_L +Shift_L +a");
    watch.reset();
    typist_.type("-a -space -Shift_L -Control_L");
    EXPECT_EQ(seen(nullptr), "-a -space -Shift_L -Control_L");
}

// The server gives a new client the lowest free place, and each client's first resource the same number in its place.
TEST_F(X11Keyboard, LosingTheConnectionOnlyEndsTheHook)
{
    Connection place = connect();
    const XID resource = XGContextFromGC(DefaultGC(place.get(), 0));
    place.reset();
    XSync(typist_.display(), False);
    Watch watch(ctrlShiftSpace);
    typist_.type("+Control_L +Shift_L +space");
    EXPECT_TRUE(eventually([&] { return watch.log() == "P"; }));
    XKillClient(typist_.display(), resource);
    typist_.type("-space -Shift_L -Control_L");
    EXPECT_TRUE(eventually([&] { return watch.returned.load(); }));
    EXPECT_EQ(seen(nullptr), "+Control_L +Shift_L -space -Shift_L -Control_L");
    watch.stop();
    Watch again(ctrlShiftSpace);
    typist_.type("+Control_L +Shift_L +space -space -Shift_L -Control_L");
    EXPECT_EQ(seen(&again), "+Control_L +Shift_L -Shift_L -Control_L");
    EXPECT_EQ(again.log(), "PR");
}

class X11Layout : public X11Keyboard {
protected:
    ~X11Layout() override
    {
        arrange({XK_j}, {XK_k});
        XkbLockGroup(typist_.display(), XkbUseCoreKbd, 0);
        XSync(typist_.display(), False);
    }

    // Gives two keys these letters: one letter for each layout.
    void arrange(const std::vector<KeySym>& first, const std::vector<KeySym>& second)
    {
        const auto put = [this](unsigned key, const std::vector<KeySym>& letters) {
            std::vector<KeySym> keysyms;
            for (const KeySym letter : letters)
                keysyms.insert(keysyms.end(), {letter, letter - XK_a + XK_A});
            XChangeKeyboardMapping(
                typist_.display(), static_cast<int>(key), static_cast<int>(keysyms.size()), keysyms.data(), 1);
        };
        put(j_, first);
        put(k_, second);
    }
    void tap(unsigned key)
    {
        for (const bool down : {true, false})
            XTestFakeKeyEvent(typist_.display(), key, down, CurrentTime);
    }

    const unsigned j_ = typist_.keycode("j");
    const unsigned k_ = typist_.keycode("k");
};

TEST_F(X11Layout, HotkeyFollowsItsLetter)
{
    Watch watch({modCtrl, 'K'});
    const auto expectLog = [&](const char* log, const char* when) {
        seen(&watch);
        EXPECT_EQ(watch.log(), log) << when;
    };
    const auto ctrlTap = [&](unsigned key) {
        seen(&watch); // the hook has heard of the change
        typist_.type("+Control_L");
        tap(key);
        typist_.type("-Control_L");
    };
    arrange({XK_k}, {XK_j});
    ctrlTap(k_);
    expectLog("", "on the letter's old key");
    ctrlTap(j_);
    expectLog("PR", "on its new key");
    arrange({XK_j, XK_k}, {XK_k, XK_j});
    ctrlTap(j_);
    expectLog("PR", "in the first layout, on the other layout's key");
    ctrlTap(k_);
    expectLog("PRPR", "in the first layout");
    XkbLockGroup(typist_.display(), XkbUseCoreKbd, 1);
    ctrlTap(k_);
    expectLog("PRPR", "in the second layout, on the other layout's key");
    ctrlTap(j_);
    expectLog("PRPRPR", "in the second layout");
}

TEST_F(X11Layout, LetterMovedDuringHoldIsReleased)
{
    Watch watch({modCtrl, 'K'});
    typist_.type("+Control_L +k");
    EXPECT_TRUE(eventually([&] { return watch.log() == "P"; }));
    arrange({XK_k}, {XK_j});
    XSync(typist_.display(), False);
    EXPECT_TRUE(eventually([&] { return watch.log() == "PR"; }));
    XTestFakeKeyEvent(typist_.display(), k_, False, CurrentTime);
    typist_.type("-Control_L");
    seen(&watch);
    EXPECT_EQ(watch.log(), "PR");
}

TEST_F(X11Layout, LetterThatNoLayoutHasIsWhereUsKeyboardsHaveIt)
{
    const auto clear = [this](unsigned key, KeySym keysym) {
        XChangeKeyboardMapping(typist_.display(), static_cast<int>(key), 1, &keysym, 1);
    };
    clear(k_, XK_Cyrillic_el);
    XSync(typist_.display(), False);
    Watch watch({modCtrl, 'K'});
    typist_.type("+Control_L");
    tap(k_);
    typist_.type("-Control_L");
    EXPECT_EQ(seen(&watch), "+Control_L -Control_L");
    EXPECT_EQ(watch.log(), "PR");
}

class X11OtherProgram : public X11Keyboard {
protected:
    // Holds the combination with the old kind of grab or with that of the input extension.
    void occupy(bool byInputExtension)
    {
        const unsigned key = typist_.keycode("space");
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
    typist_.type("+Control_L +Shift_L +space -space");
    EXPECT_TRUE(eventually([&] { return watch.log() == "PR"; }));
    EXPECT_GE(XPending(other_.get()), 1); // nothing was taken from its holder
    typist_.type("+Alt_L +space -space -Alt_L -Shift_L -Control_L"); // not held by it
    EXPECT_EQ(seen(&watch), "+Control_L +Shift_L +Alt_L -Alt_L -Shift_L -Control_L");
    EXPECT_EQ(watch.log(), "PRPR");
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
