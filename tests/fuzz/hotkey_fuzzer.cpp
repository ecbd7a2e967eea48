#include "fuzz/fuzzing.h"

#include "hotkey/hotkey.h"

#include <cstring>

namespace quillo {
namespace {

using fuzz::require;

std::string withLettersSwapped(std::string text)
{
    for (char& c : text)
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))
            c = static_cast<char>(c ^ 0x20);
    return text;
}

/// What a text contributes to a longer one: its modifiers, and its key if it names one.
Hotkey contribution(const std::string& text)
{
    const Hotkey afterQ = parseHotkey("Q+" + text);
    const bool namesKey = afterQ.virtualKey == parseHotkey("W+" + text).virtualKey;
    return {afterQ.modifiers, namesKey ? afterQ.virtualKey : 0};
}

void checkText(const std::string& text)
{
    const Hotkey hotkey = parseHotkey(text);
    require(hotkey.virtualKey != 0 && hotkey.modifiers < 16, "parsing gives a key and known modifiers");
    require(parseHotkey(withLettersSwapped(text)) == hotkey, "letter case does not matter");
    require(parseHotkey("\t " + text + " \t") == hotkey, "blanks around it do not matter");

    const std::string written = formatHotkey(hotkey);
    require(parseHotkey(written) == hotkey, "the written hotkey reads back");

    const Hotkey whole = contribution(text);
    require(hotkey == (whole.virtualKey == 0 ? defaultHotkey : whole), "without a key it is the default");
    if (const auto plus = text.find('+'); plus != std::string::npos) {
        const Hotkey head = contribution(text.substr(0, plus));
        const Hotkey tail = contribution(text.substr(plus + 1));
        require(whole.modifiers == (head.modifiers | tail.modifiers), "modifiers add up");
        require(whole.virtualKey == (tail.virtualKey ? tail.virtualKey : head.virtualKey), "the last key counts");
    }
}

void checkCode(std::uint32_t code)
{
    const std::string name = keyName(code);
    require(!name.empty(), "every key has a text");
    if (!name.starts_with("0x"))
        require(parseHotkey(name) == Hotkey{0, code}, "a named key reads back");
    else
        require(std::stoul(name, nullptr, 16) == code, "any other is its number");
}

} // namespace
} // namespace quillo

void quillo::fuzz::tryInput(const std::string& input)
{
    checkText(input);
    if (std::uint32_t code = 0; input.size() >= sizeof code) {
        std::memcpy(&code, input.data(), sizeof code);
        checkCode(code);
        checkCode(code & 0xFF);
    }
}
