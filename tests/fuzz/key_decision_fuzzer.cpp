#include "fuzz/fuzzing.h"

#include "hotkey/key_decision.h"

#include <iterator>
#include <set>

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
        event.down ? void(held_.insert(event.virtualKey)) : void(held_.erase(event.virtualKey));
        const bool wasPressed = pressed_;
        const bool isMainKey = event.virtualKey == hotkey_.virtualKey;
        const KeyDecision decision = decideKey(hotkey_, event, pressed_, [&](std::uint32_t key) {
            require(isMainKey && event.down, "keys are asked for only when the main key goes down");
            return isDown(key);
        });

        require((decision.action == KeyAction::Press) == (!wasPressed && pressed_), "a press begins it");
        require((decision.action == KeyAction::Release) == (wasPressed && !pressed_), "a release ends it");
        if (decision.action == KeyAction::Press)
            require(isMainKey && event.down && modifiersAreDown(), "a press needs the main key and its modifiers");
        if (decision.action == KeyAction::Release)
            require(!event.down && (isMainKey || isModifier(event.virtualKey)), "a key that comes up releases it");
        require(!pressed_ || held_.contains(hotkey_.virtualKey), "it is down only while the main key is");
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
        while (!held_.empty())
            send({*held_.begin(), false});
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

    bool isDown(std::uint32_t key) const
    {
        const auto either = [this](auto left, auto right) { return held_.contains(left) || held_.contains(right); };
        switch (key) {
        case vk::shift:
            return either(vk::leftShift, vk::rightShift);
        case vk::control:
            return either(vk::leftControl, vk::rightControl);
        case vk::menu:
            return either(vk::leftMenu, vk::rightMenu);
        default:
            return held_.contains(key);
        }
    }

    bool modifiersAreDown() const
    {
        std::uint32_t down = isDown(vk::leftWin) || isDown(vk::rightWin) ? platform::modWin : 0;
        down |= isDown(vk::menu) ? platform::modAlt : 0;
        down |= isDown(vk::control) ? platform::modCtrl : 0;
        down |= isDown(vk::shift) ? platform::modShift : 0;
        return (hotkey_.modifiers & ~down) == 0;
    }

    const Hotkey hotkey_;
    std::set<std::uint32_t> held_;
    std::atomic<bool> pressed_ = false;
    bool downIsSwallowed_ = false;
};

} // namespace
} // namespace quillo

/// The input's first byte is the hotkey, each further one an event.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace quillo;
    if (size == 0)
        return 0;
    const Hotkey hotkey{data[0] & 15U, mainKeys[(data[0] >> 4U) % std::size(mainKeys)]};
    Keyboard keyboard(hotkey);
    Keyboard withoutOtherKeys(hotkey);
    for (std::size_t i = 1; i < size; ++i) {
        const platform::KeyEvent event{keys[data[i] & 15U], (data[i] & 16U) != 0};
        const KeyDecision decision = keyboard.send(event);
        KeyDecision expected;
        if (event.virtualKey == hotkey.virtualKey || isModifier(event.virtualKey))
            expected = withoutOtherKeys.send(event);
        require(
            decision.action == expected.action && decision.swallow == expected.swallow, "other keys change nothing");
    }
    keyboard.releaseAll();
    return 0;
}
