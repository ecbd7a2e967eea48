#include "hotkey/hotkey.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <utility>

namespace quillo {

namespace {

namespace vk = platform::vk;

struct NamedKey {
    std::string_view upperName;
    std::uint32_t code;
    const char* displayName; ///< null for a further spelling of the same key
};

constexpr NamedKey namedKeys[] = {
    {"SPACE", vk::space, "Space"},
    {"ENTER", vk::enter, "Enter"},
    {"RETURN", vk::enter, nullptr},
    {"TAB", vk::tab, "Tab"},
    {"ESCAPE", vk::escape, nullptr},
    {"ESC", vk::escape, "Esc"},
    {"BACKSPACE", vk::back, "Backspace"},
    {"BACK", vk::back, nullptr},
    {"DELETE", vk::del, "Delete"},
    {"DEL", vk::del, nullptr},
    {"INSERT", vk::insert, "Insert"},
    {"INS", vk::insert, nullptr},
    {"HOME", vk::home, "Home"},
    {"END", vk::end, "End"},
    {"PAGEUP", vk::pageUp, "PageUp"},
    {"PGUP", vk::pageUp, nullptr},
    {"PAGEDOWN", vk::pageDown, "PageDown"},
    {"PGDN", vk::pageDown, nullptr},
    {"PGDOWN", vk::pageDown, nullptr}, // as Qt writes it
    {"UP", vk::up, "Up"},
    {"DOWN", vk::down, "Down"},
    {"LEFT", vk::left, "Left"},
    {"RIGHT", vk::right, "Right"},
};

constexpr std::pair<std::string_view, std::uint32_t> modifierNames[] = {
    {"CTRL", platform::modCtrl},
    {"CONTROL", platform::modCtrl},
    {"SHIFT", platform::modShift},
    {"ALT", platform::modAlt},
    {"WIN", platform::modWin},
    {"SUPER", platform::modWin},
    {"META", platform::modWin},
};

constexpr bool isLetterOrDigit(std::uint32_t code)
{
    return (code >= 'A' && code <= 'Z') || (code >= '0' && code <= '9');
}

std::uint32_t modifierFromName(std::string_view name)
{
    const auto* found = std::ranges::find(modifierNames, name, &std::pair<std::string_view, std::uint32_t>::first);
    return found == std::end(modifierNames) ? 0 : found->second;
}

// As atoi reads it: blanks and a sign before the digits are allowed, anything may follow them.
std::uint32_t functionKeyFromNumber(std::string_view number)
{
    number.remove_prefix(std::min(number.find_first_not_of(" \t\n\v\f\r"), number.size()));
    if (number.starts_with('+'))
        number.remove_prefix(1);
    std::uint32_t n = 0;
    std::from_chars(number.data(), number.data() + number.size(), n);
    return n >= 1 && n <= 24 ? vk::f1 - 1 + n : 0;
}

// Without surrounding blanks, ASCII letters in upper case.
std::string normalised(std::string_view token)
{
    const auto first = token.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    const auto last = token.find_last_not_of(" \t");
    std::string name(token.substr(first, last - first + 1));
    for (char& c : name)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return name;
}

} // namespace

Hotkey parseHotkey(std::string_view text)
{
    Hotkey hotkey;
    while (!text.empty()) {
        const auto plus = text.find('+');
        const std::string name = normalised(text.substr(0, plus));
        text.remove_prefix(plus == std::string_view::npos ? text.size() : plus + 1);

        if (const std::uint32_t modifier = modifierFromName(name))
            hotkey.modifiers |= modifier;
        else if (const std::uint32_t code = keyCodeFromName(name))
            hotkey.virtualKey = code;
    }
    return hotkey.virtualKey == 0 ? defaultHotkey : hotkey;
}

std::string formatHotkey(const Hotkey& hotkey)
{
    std::string text;
    if (hotkey.modifiers & platform::modCtrl)
        text += "Ctrl+";
    if (hotkey.modifiers & platform::modShift)
        text += "Shift+";
    if (hotkey.modifiers & platform::modAlt)
        text += "Alt+";
    if (hotkey.modifiers & platform::modWin)
        text += "Win+";
    return text + keyName(hotkey.virtualKey);
}

std::uint32_t keyCodeFromName(std::string_view name)
{
    if (name.size() == 1 && isLetterOrDigit(static_cast<unsigned char>(name.front())))
        return static_cast<unsigned char>(name.front());
    const auto* found = std::ranges::find(namedKeys, name, &NamedKey::upperName);
    if (found != std::end(namedKeys))
        return found->code;
    return name.size() >= 2 && name.starts_with('F') ? functionKeyFromNumber(name.substr(1)) : 0;
}

std::string keyName(std::uint32_t virtualKey)
{
    if (isLetterOrDigit(virtualKey))
        return {static_cast<char>(virtualKey)};
    const auto* found =
        std::ranges::find_if(namedKeys, [=](const NamedKey& key) { return key.code == virtualKey && key.displayName; });
    if (found != std::end(namedKeys))
        return found->displayName;
    if (virtualKey >= vk::f1 && virtualKey <= vk::f24)
        return "F" + std::to_string(virtualKey - vk::f1 + 1);
    char hexadecimal[16];
    std::snprintf(hexadecimal, sizeof hexadecimal, "0x%X", virtualKey);
    return hexadecimal;
}

} // namespace quillo
