#include "hotkey/hotkey.h"
#include "hotkey/hotkey_availability.h"
#include "stand_ins/fake_platform.h"

#include <gtest/gtest.h>

namespace quillo {
namespace {

TEST(HotkeyText, ParsesWhatUsersAndFilesMayHold)
{
    const std::pair<const char*, Hotkey> cases[] = {
        {"Ctrl+Shift+Space", {6, 0x20}},
        {" ctrl +  f5 ", {2, 0x74}},
        {"\tControl+Alt\t+ return", {3, 0x0D}},
        {"win+a", {8, 'A'}},
        {"Super+9", {8, '9'}},
        {"META+PgDn", {8, 0x22}},
        {"Ctrl+A+B", {2, 'B'}}, // the last key counts
        {"Ctrl+A+nonsense", {2, 'A'}},
        {"F", {0, 'F'}},
        {"f1", {0, 0x70}},
        {"F24", {0, 0x87}},
        {"F5th", {0, 0x74}}, // leading digits only
        // Without a key the default stands in, and modifiers gathered so far are dropped.
        {"", defaultHotkey},
        {"Ctrl+Shift", defaultHotkey},
        {"Ctrl+;", defaultHotkey},
        {"Alt+F25", defaultHotkey},
        {"Alt+F0", defaultHotkey},
        {"Ctrl+0xBA", defaultHotkey},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(parseHotkey(text), expected) << '"' << text << '"';
}

TEST(HotkeyText, NamesLettersDigitsFunctionKeysAndFifteenOthersAndReadsThemBack)
{
    EXPECT_EQ(formatHotkey({15, 0x70}), "Ctrl+Shift+Alt+Win+F1");
    EXPECT_EQ(formatHotkey({0, 0x1B}), "Esc");
    EXPECT_EQ(formatHotkey({2, 0xBA}), "Ctrl+0xBA");
    int named = 0;
    for (std::uint32_t code = 1; code < 0x100; ++code)
        named += parseHotkey(keyName(code)) == Hotkey{0, code} ? 1 : 0;
    EXPECT_EQ(named, 26 + 10 + 24 + 15);
}

TEST(HotkeyAvailability, ProbesWhatTheSystemDoesNotReserve)
{
    auto& system = test::FakePlatform::instance();
    system.reset();
    for (const char* text : {"Ctrl+Alt+Delete", "Win+L", "Ctrl+Shift+Esc", "Ctrl+Esc", "Alt+Tab", "Shift+Alt+Tab",
             "Alt+Esc", "Alt+F4", "Win+Tab", "Win+D", "Win+E", "Win+R"})
        EXPECT_EQ(checkHotkeyAvailability(parseHotkey(text)), HotkeyStatus::ReservedBySystem) << text;
    EXPECT_EQ(system.probes(), 0);
    // One modifier more than a reserved combination.
    const auto probed = [] { return checkHotkeyAvailability(parseHotkey("Ctrl+Shift+Alt+Delete")); };
    EXPECT_EQ(probed(), HotkeyStatus::Available);
    system.setProbeResult(platform::ProbeResult::HeldByAnother);
    EXPECT_EQ(probed(), HotkeyStatus::RegisteredElsewhere);
    system.setProbeResult(platform::ProbeResult::Failed);
    EXPECT_EQ(probed(), HotkeyStatus::Available);
}

} // namespace
} // namespace quillo
