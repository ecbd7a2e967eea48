#include "hotkey/key_decision.h"

namespace quillo {

namespace {

namespace vk = platform::vk;

bool isModifierKey(std::uint32_t key)
{
    return (key >= vk::shift && key <= vk::menu) || (key >= vk::leftShift && key <= vk::rightMenu) || key == vk::leftWin
        || key == vk::rightWin;
}

bool modifiersAreDown(std::uint32_t modifiers, const std::function<bool(std::uint32_t)>& isDown)
{
    return (!(modifiers & platform::modAlt) || isDown(vk::menu))
        && (!(modifiers & platform::modCtrl) || isDown(vk::control))
        && (!(modifiers & platform::modShift) || isDown(vk::shift))
        && (!(modifiers & platform::modWin) || isDown(vk::leftWin) || isDown(vk::rightWin));
}

} // namespace

KeyDecision decideKey(const Hotkey& watched, const platform::KeyEvent& event, std::atomic<bool>& pressed,
    const std::function<bool(std::uint32_t)>& isDown)
{
    if (event.virtualKey == watched.virtualKey) {
        if (event.down) {
            if (modifiersAreDown(watched.modifiers, isDown))
                return {pressed.exchange(true) ? KeyAction::None : KeyAction::Press, true};
        } else if (pressed.exchange(false)) {
            return {KeyAction::Release, true};
        }
    }
    if (!event.down && pressed && isModifierKey(event.virtualKey) && pressed.exchange(false))
        return {KeyAction::Release, false};
    return {};
}

} // namespace quillo
