#include "hotkey/key_decision.h"

#include "stand_ins/pressed_keys.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace quillo {
namespace {

namespace vk = platform::vk;

/// Plays a script of steps such as "+C +S +_ -_" (key down, key up) and writes down what came of each:
/// '.' passed on, 's' swallowed, 'P' press, 'R' release, each of the latter two followed by '.' or 's'.
std::string play(const Hotkey& hotkey, const std::string& script)
{
    const std::map<char, std::uint32_t> names{{'C', vk::leftControl}, {'c', vk::rightControl}, {'S', vk::leftShift},
        {'A', vk::rightMenu}, {'W', vk::rightWin}, {'_', vk::space}};
    test::PressedKeys keys;
    std::atomic<bool> pressed = false;
    std::string outcome;
    for (std::size_t i = 0; i + 1 < script.size(); i += 3) {
        const platform::KeyEvent event{
            names.contains(script[i + 1]) ? names.at(script[i + 1]) : static_cast<std::uint32_t>(script[i + 1]),
            script[i] == '+'};
        keys.take(event);
        const KeyDecision decision = decideKey(hotkey, event, pressed, [&](std::uint32_t key) {
            EXPECT_TRUE(event.down && event.virtualKey == hotkey.virtualKey) << "asked without need";
            return keys.isDown(key);
        });
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
        {"the right Win key counts and ends it", winX, "+W +X -W -X", ".PsR.."},
        {"Alt is needed", {1, 'X'}, "+X -X +A +X -A -X", "...PsR.."},
        {"modifiers that come late do not count", ctrlShiftSpace, "+_ +C +S -_", "...."},
        {"no modifiers needed", bareF1, "+p +C -p", "Ps.Rs"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(play(c.hotkey, c.script), c.outcome) << c.what;
}

} // namespace
} // namespace quillo
