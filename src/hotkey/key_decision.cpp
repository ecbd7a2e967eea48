#include "hotkey/key_decision.h"

namespace quillo {

namespace {

bool modifiersAreDown(std::uint32_t modifiers, const std::function<bool(std::uint32_t)>& isDown)
{
    for (const auto& [key, modifier] : platform::modifierKeys)
        if ((modifiers & modifier) && isDown(key))
            modifiers &= ~modifier;
    return modifiers == 0;
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
    if (!event.down && pressed && platform::modifierOf(event.virtualKey) && pressed.exchange(false))
        return {KeyAction::Release, false};
    return {};
}

} // namespace quillo
