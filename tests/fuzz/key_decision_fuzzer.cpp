#include "fuzz/fuzzing.h"

#include "hotkey/key_decision.h"
#include "support/pressed_keys.h"

#include <iterator>

namespace quillo {
namespace {

namespace vk = platform::vk;
using fuzz::require;

constexpr std::uint32_t mainKeys[] = {vk::space, 'A', vk::f24};
constexpr std::uint32_t keys[] = {vk::space, 'A', vk::f24, vk::leftControl, vk::rightControl, vk::leftShift,
    vk::rightShift, vk::leftMenu, vk::rightMenu, vk::leftWin, vk::rightWin, 'B', vk::escape, vk::tab, vk::f1, 0xFF};

bool isModifier(std::uint32_t key)
{
    return (key >= vk::leftShift && key <= vk::rightMenu) || key == vk::leftWin || key == vk::rightWin;
}

/// A keyboard with the decision about it, which is checked at every event.
class Keyboard {
public:
    explicit Keyboard(const Hotkey& hotkey)
        : hotkey_(hotkey)
    {
    }

    KeyDecision send(const platform::KeyEvent& event)
    {
        held_.take(event);
        const bool wasPressed = pressed_;
        const bool isMainKey = event.virtualKey == hotkey_.virtualKey;
        const KeyDecision decision = decideKey(hotkey_, event, pressed_, [&](std::uint32_t key) {
            require(isMainKey && event.down, "keys are asked for only when the main key goes down");
            return held_.isDown(key);
        });

        require((decision.action == KeyAction::Press) == (!wasPressed && pressed_), "a press begins it");
        require((decision.action == KeyAction::Release) == (wasPressed && !pressed_), "a release ends it");
        if (decision.action == KeyAction::Press)
            require(isMainKey && event.down && modifiersAreDown(), "a press needs the main key and its modifiers");
        if (decision.action == KeyAction::Release)
            require(!event.down && (isMainKey || isModifier(event.virtualKey)), "a key that comes up releases it");
        require(!pressed_ || held_.isDown(hotkey_.virtualKey), "it is down only while the main key is");
        require(!pressed_ || event.down || !isModifier(event.virtualKey), "any modifier that comes up ends it");
        if (isMainKey)
            checkSwallowing(event.down, decision);
        else
            require(!decision.swallow, "only the main key is kept from the applications");
        if (decision.action == KeyAction::Release)
            downIsSwallowed_ = false;
        return decision;
    }

    void releaseAll()
    {
        while (!held_.all().empty())
            send({*held_.all().begin(), false});
        require(!pressed_, "with all keys up it is up");
    }

private:
    void checkSwallowing(bool down, const KeyDecision& decision)
    {
        if (down) {
            require(decision.swallow == modifiersAreDown(), "a down is kept with all modifiers down");
            downIsSwallowed_ = downIsSwallowed_ || decision.swallow;
        } else {
            require(decision.swallow == downIsSwallowed_, "an up is kept when the down was, unless released before");
        }
    }

    bool modifiersAreDown() const
    {
        std::uint32_t down = held_.isDown(vk::leftWin) || held_.isDown(vk::rightWin) ? platform::modWin : 0;
        down |= held_.isDown(vk::menu) ? platform::modAlt : 0;
        down |= held_.isDown(vk::control) ? platform::modCtrl : 0;
        down |= held_.isDown(vk::shift) ? platform::modShift : 0;
        return (hotkey_.modifiers & ~down) == 0;
    }

    const Hotkey hotkey_;
    test::PressedKeys held_;
    std::atomic<bool> pressed_ = false;
    bool downIsSwallowed_ = false;
};

} // namespace
} // namespace quillo

/// The input's first byte is the hotkey, each further one an event.
void quillo::fuzz::tryInput(const std::string& input)
{
    if (input.empty())
        return;
    const auto first = static_cast<unsigned char>(input[0]);
    const Hotkey hotkey{first & 15U, mainKeys[(first >> 4U) % std::size(mainKeys)]};
    Keyboard keyboard(hotkey);
    Keyboard withoutOtherKeys(hotkey);
    for (const char step : input.substr(1)) {
        const platform::KeyEvent event{keys[step & 15], (step & 16) != 0};
        const KeyDecision decision = keyboard.send(event);
        KeyDecision expected;
        if (event.virtualKey == hotkey.virtualKey || isModifier(event.virtualKey))
            expected = withoutOtherKeys.send(event);
        require(
            decision.action == expected.action && decision.swallow == expected.swallow, "other keys change nothing");
    }
    keyboard.releaseAll();
}
