#pragma once

#include "platform/keys.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace quillo {

/// A hotkey: the modifiers that must be held (sum of the platform's modifier bits) and the virtual-key code of the
/// main key. Written as text such as "Ctrl+Shift+Space".
using Hotkey = platform::KeyCombination;

/// What unusable text stands for: Ctrl+Shift+Space.
inline constexpr Hotkey defaultHotkey{platform::modCtrl | platform::modShift, platform::vk::space};

/// Reads a hotkey from its text. Letter case and blanks around names do not matter; unknown names are ignored; of
/// several keys the last one counts. Text that names no key gives defaultHotkey.
Hotkey parseHotkey(std::string_view text);

/// The text of a hotkey, modifiers first, always in the order Ctrl, Shift, Alt, Win. parseHotkey reads it back, except
/// for keys without a name.
std::string formatHotkey(const Hotkey& hotkey);

/// What the text of a hotkey with these modifiers begins with, such as "Ctrl+Shift+".
std::string modifierPrefix(std::uint32_t modifiers);

/// The virtual-key code of an upper-case key name, or 0 when there is no such key.
std::uint32_t keyCodeFromName(std::string_view name);

/// The display name of a virtual-key code; a code without a name gives its hexadecimal number, such as "0xBA".
std::string keyName(std::uint32_t virtualKey);

} // namespace quillo
