#pragma once

#include <cstdint>

namespace quillo::platform {

/// Modifier bits of a key combination: the values of Windows' MOD_ALT, MOD_CONTROL, MOD_SHIFT and MOD_WIN.
inline constexpr std::uint32_t modAlt = 1;
inline constexpr std::uint32_t modCtrl = 2;
inline constexpr std::uint32_t modShift = 4;
inline constexpr std::uint32_t modWin = 8;

/// The Windows virtual-key codes that Quillo names. Shared code speaks in them on every system. Letters and digits are
/// their own character codes ('A' to 'Z', '0' to '9').
namespace vk {
inline constexpr std::uint32_t back = 0x08;
inline constexpr std::uint32_t tab = 0x09;
inline constexpr std::uint32_t enter = 0x0D;
inline constexpr std::uint32_t shift = 0x10; ///< either Shift key
inline constexpr std::uint32_t control = 0x11; ///< either Ctrl key
inline constexpr std::uint32_t menu = 0x12; ///< either Alt key
inline constexpr std::uint32_t escape = 0x1B;
inline constexpr std::uint32_t space = 0x20;
inline constexpr std::uint32_t pageUp = 0x21;
inline constexpr std::uint32_t pageDown = 0x22;
inline constexpr std::uint32_t end = 0x23;
inline constexpr std::uint32_t home = 0x24;
inline constexpr std::uint32_t left = 0x25;
inline constexpr std::uint32_t up = 0x26;
inline constexpr std::uint32_t right = 0x27;
inline constexpr std::uint32_t down = 0x28;
inline constexpr std::uint32_t insert = 0x2D;
inline constexpr std::uint32_t del = 0x2E;
inline constexpr std::uint32_t leftWin = 0x5B;
inline constexpr std::uint32_t rightWin = 0x5C;
inline constexpr std::uint32_t f1 = 0x70; ///< F1 to F24 follow one another
inline constexpr std::uint32_t f4 = 0x73;
inline constexpr std::uint32_t f24 = 0x87;
inline constexpr std::uint32_t leftShift = 0xA0; ///< first of the six sided modifiers
inline constexpr std::uint32_t rightShift = 0xA1;
inline constexpr std::uint32_t leftControl = 0xA2;
inline constexpr std::uint32_t rightControl = 0xA3;
inline constexpr std::uint32_t leftMenu = 0xA4;
inline constexpr std::uint32_t rightMenu = 0xA5; ///< last of the six sided modifiers
} // namespace vk

/// A key that sets a modifier while it is held.
struct ModifierKey {
    std::uint32_t virtualKey; ///< of one key, or of either key of a pair
    std::uint32_t modifier; ///< one of the bits above
};

inline constexpr ModifierKey modifierKeys[] = {{vk::menu, modAlt}, {vk::leftMenu, modAlt}, {vk::rightMenu, modAlt},
    {vk::control, modCtrl}, {vk::leftControl, modCtrl}, {vk::rightControl, modCtrl}, {vk::shift, modShift},
    {vk::leftShift, modShift}, {vk::rightShift, modShift}, {vk::leftWin, modWin}, {vk::rightWin, modWin}};

/// The modifier bit of a modifier key, sided or not; 0 for every other key.
constexpr std::uint32_t modifierOf(std::uint32_t virtualKey)
{
    for (const ModifierKey& key : modifierKeys)
        if (key.virtualKey == virtualKey)
            return key.modifier;
    return 0;
}

/// A main key with the modifiers that must be held with it.
struct KeyCombination {
    std::uint32_t modifiers = 0; ///< sum of the modifier bits above
    std::uint32_t virtualKey = 0; ///< virtual-key code of the main key, 0 for none

    bool operator==(const KeyCombination&) const = default;
};

/// One key going down, repeating, or coming up. A repeat is a further "down" without an "up" between.
struct KeyEvent {
    std::uint32_t virtualKey = 0;
    bool down = false;
};

} // namespace quillo::platform
