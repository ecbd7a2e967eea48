#include "hotkey/key_decision.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

namespace quillo {
namespace {

namespace vk = platform::vk;

/// A keyboard, and the decision fed with its events.
class Keyboard {
public:
    explicit Keyboard(const Hotkey& hotkey)
        : hotkey_(hotkey)
    {
    }

    KeyDecision down(std::uint32_t key)
    {
        held_.insert(key);
        return decide({key, true});
    }

    KeyDecision up(std::uint32_t key)
    {
        held_.erase(key);
        return decide({key, false});
    }

    bool isHeld(std::uint32_t key) const { return held_.contains(key); }
    bool pressed() const { return pressed_; }

private:
    KeyDecision decide(const platform::KeyEvent& event)
    {
        return decideKey(
            hotkey_, event, pressed_,
            [this](std::uint32_t key) {
                switch (key) {
                case vk::shift:
                    return isHeld(vk::leftShift) || isHeld(vk::rightShift);
                case vk::control:
                    return isHeld(vk::leftControl) || isHeld(vk::rightControl);
                case vk::menu:
                    return isHeld(vk::leftMenu) || isHeld(vk::rightMenu);
                default:
                    return isHeld(key);
                }
            });
    }

    Hotkey hotkey_;
    std::set<std::uint32_t> held_;
    std::atomic<bool> pressed_{false};
};

/// Plays a script of steps such as "+C +S +_ -_" (key down, key up) and writes down what came of each:
/// '.' passed on, 's' swallowed, 'P' press, 'R' release, each of the latter two followed by '.' or 's'.
std::string play(const Hotkey& hotkey, const std::string& script)
{
    const auto keyOf = [](char c) -> std::uint32_t {
        switch (c) {
        case 'C':
            return vk::leftControl;
        case 'c':
            return vk::rightControl;
        case 'S':
            return vk::leftShift;
        case 'A':
            return vk::rightMenu;
        case 'W':
            return vk::rightWin;
        case '_':
            return vk::space;
        default:
            return static_cast<std::uint32_t>(c);
        }
    };
    Keyboard keyboard(hotkey);
    std::string outcome;
    for (std::size_t i = 0; i + 1 < script.size(); i += 3) {
        const auto key = keyOf(script[i + 1]);
        const KeyDecision decision = script[i] == '+' ? keyboard.down(key) : keyboard.up(key);
        if (decision.action != KeyAction::None)
            outcome += decision.action == KeyAction::Press ? 'P' : 'R';
        outcome += decision.swallow ? 's' : '.';
    }
    return outcome;
}

TEST(KeyDecision, FollowsTheHotkeyThroughTypicalSequences)
{
    const Hotkey ctrlShiftSpace{6, vk::space};
    const Hotkey winX{8, 'X'};
    const Hotkey bareF1{0, vk::f1};
    const struct {
        const char* what;
        Hotkey hotkey;
        const char* script;
        const char* outcome;
    } cases[] = {
        {"plain hold", ctrlShiftSpace, "+C +S +_ -_ -S -C", "..PsRs.."},
        {"repeats are swallowed", ctrlShiftSpace, "+C +S +_ +_ +_ -_", "..PsssRs"},
        {"a modifier first: its key-up passes, and the main key's", ctrlShiftSpace, "+C +S +_ -S -_ -C", "..PsR..."},
        {"one modifier is not enough", ctrlShiftSpace, "+C +_ -_ -C", "...."},
        {"the main key alone", ctrlShiftSpace, "+_ +_ -_", "..."},
        {"more modifiers than needed", ctrlShiftSpace, "+C +A +S +_ -_", "...PsRs"},
        {"any modifier ends it, also one it does not name", ctrlShiftSpace, "+C +S +_ +A -A -_", "..Ps.R.."},
        {"either key of a pair ends it", ctrlShiftSpace, "+C +c +S +_ -c -_", "...PsR.."},
        {"other keys pass", ctrlShiftSpace, "+C +S +_ +Q -Q -_", "..Ps..Rs"},
        {"the right Win key counts", winX, "+W +X -X", ".PsRs"},
        {"modifiers that come late do not count", ctrlShiftSpace, "+_ +C +S -_", "...."},
        {"no modifiers needed", bareF1, "+p +C -p", "Ps.Rs"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(play(c.hotkey, c.script), c.outcome) << c.what;
}

TEST(KeyDecision, AsksForModifiersOnlyWhenTheMainKeyGoesDown)
{
    std::atomic<bool> pressed{true};
    const auto mustNotAsk = [](std::uint32_t) {
        ADD_FAILURE();
        return false;
    };
    decideKey(defaultHotkey, {'A', true}, pressed, mustNotAsk);
    decideKey(defaultHotkey, {'A', false}, pressed, mustNotAsk);
    decideKey(defaultHotkey, {vk::leftControl, true}, pressed, mustNotAsk);
    decideKey(defaultHotkey, {vk::space, false}, pressed, mustNotAsk);
}

TEST(KeyDecision, HoldsItsPromisesInRandomSequences)
{
    const std::uint32_t keys[] = {vk::space, vk::space, vk::leftControl, vk::rightControl, vk::leftShift,
        vk::rightShift, vk::leftMenu, vk::leftWin, 'A', vk::escape};
    for (unsigned seed = 1; seed <= 300; ++seed) {
        std::mt19937 random(seed);
        const Hotkey hotkey{static_cast<std::uint32_t>(random() % 16), vk::space};
        Keyboard keyboard(hotkey);
        int balance = 0; // presses less releases
        for (int step = 0; step < 400; ++step) {
            const auto key = keys[random() % std::size(keys)];
            const bool wasPressed = keyboard.pressed();
            const KeyDecision decision = random() % 2 ? keyboard.down(key) : keyboard.up(key);

            balance += decision.action == KeyAction::Press ? 1 : decision.action == KeyAction::Release ? -1 : 0;
            ASSERT_TRUE(balance == 0 || balance == 1) << "seed " << seed << " step " << step;
            ASSERT_EQ(balance == 1, keyboard.pressed());
            if (decision.swallow) {
                ASSERT_EQ(key, hotkey.virtualKey) << "seed " << seed << " step " << step;
                ASSERT_TRUE(wasPressed || keyboard.pressed()) << "swallowed a key that was not the hotkey";
            }
        }
    }
}

} // namespace
} // namespace quillo
