#include "hotkey/hotkey.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <span>

namespace quillo {

namespace {

namespace vk = platform::vk;

// Of several with the same code the first is the one that is written.
struct Name {
    std::string_view text;
    std::uint32_t code;
};

constexpr Name modifierNames[] = {
    {"Ctrl", platform::modCtrl},
    {"Control", platform::modCtrl},
    {"Shift", platform::modShift},
    {"Alt", platform::modAlt},
    {"Win", platform::modWin},
    {"Super", platform::modWin},
    {"Meta", platform::modWin},
};

constexpr Name keyNames[] = {
    {"Space", vk::space},
    {"Enter", vk::enter},
    {"Return", vk::enter},
    {"Tab", vk::tab},
    {"Esc", vk::escape},
    {"Escape", vk::escape},
    {"Backspace", vk::back},
    {"Back", vk::back},
    {"Delete", vk::del},
    {"Del", vk::del},
    {"Insert", vk::insert},
    {"Ins", vk::insert},
    {"Home", vk::home},
    {"End", vk::end},
    {"PageUp", vk::pageUp},
    {"PgUp", vk::pageUp},
    {"PageDown", vk::pageDown},
    {"PgDn", vk::pageDown},
    {"PgDown", vk::pageDown}, // as Qt writes it
    {"Up", vk::up},
    {"Down", vk::down},
    {"Left", vk::left},
    {"Right", vk::right},
};

constexpr bool isLetterOrDigit(std::uint32_t code)
{
    return (code >= 'A' && code <= 'Z') || (code >= '0' && code <= '9');
}

// ASCII letters only.
std::string upperCase(std::string_view text)
{
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

std::uint32_t codeOf(std::string_view upperName, std::span<const Name> names)
{
    const auto found = std::ranges::find(names, upperName, [](const Name& name) { return upperCase(name.text); });
    return found == names.end() ? 0 : found->code;
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

// Without surrounding blanks, in upper case.
std::string normalised(std::string_view token)
{
    const auto first = token.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return upperCase(token.substr(first, token.find_last_not_of(" \t") - first + 1));
}

} // namespace

Hotkey parseHotkey(std::string_view text)
{
    Hotkey hotkey;
    while (!text.empty()) {
        const auto plus = text.find('+');
        const std::string name = normalised(text.substr(0, plus));
        text.remove_prefix(plus == std::string_view::npos ? text.size() : plus + 1);

        if (const std::uint32_t modifier = codeOf(name, modifierNames))
            hotkey.modifiers |= modifier;
        else if (const std::uint32_t code = keyCodeFromName(name))
            hotkey.virtualKey = code;
    }
    return hotkey.virtualKey == 0 ? defaultHotkey : hotkey;
}

std::string formatHotkey(const Hotkey& hotkey)
{
    return modifierPrefix(hotkey.modifiers) + keyName(hotkey.virtualKey);
}

std::string modifierPrefix(std::uint32_t modifiers)
{
    std::string text;
    for (const auto& [name, modifier] : modifierNames) {
        if (modifiers & modifier)
            text.append(name) += '+';
        modifiers &= ~modifier;
    }
    return text;
}

std::uint32_t keyCodeFromName(std::string_view name)
{
    if (name.size() == 1 && isLetterOrDigit(static_cast<unsigned char>(name.front())))
        return static_cast<unsigned char>(name.front());
    if (const std::uint32_t code = codeOf(name, keyNames))
        return code;
    return name.size() >= 2 && name.starts_with('F') ? functionKeyFromNumber(name.substr(1)) : 0;
}

std::string keyName(std::uint32_t virtualKey)
{
    if (isLetterOrDigit(virtualKey))
        return {static_cast<char>(virtualKey)};
    if (const auto* found = std::ranges::find(keyNames, virtualKey, &Name::code); found != std::end(keyNames))
        return std::string(found->text);
    if (virtualKey >= vk::f1 && virtualKey <= vk::f24)
        return "F" + std::to_string(virtualKey - vk::f1 + 1);
    char hexadecimal[16];
    std::snprintf(hexadecimal, sizeof hexadecimal, "0x%X", virtualKey);
    return hexadecimal;
}

} // namespace quillo
