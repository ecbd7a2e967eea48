#include "hotkey/hotkey_manager.h"
#include "ui/settings/settings_dialog.h"

#include "stand_ins/fake_platform.h"
#include "support/widgets.h"

#include <functional>
#include <tuple>
#include <utility>

namespace quillo {
namespace {

// The page in its window, whose buttons have keys too.
class HotkeyTabTest : public testing::Test {
protected:
    HotkeyTabTest()
    {
        platform.reset();
        apply.setText("&Apply");
        fill("F9");
        pages.setCurrentIndex(2);
        dialog.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&dialog));
        apply.setFocus();
    }

    void fill(const char* hotkey)
    {
        SettingsData settings;
        settings.hotkey = hotkey;
        dialog.setSettings(settings);
    }

    SettingsData collected() const
    {
        SettingsData settings;
        dialog.collectSettings(settings);
        return settings;
    }

    void click() { QTest::mouseClick(&edit, Qt::LeftButton); }

    // As the window system delivers it: to the window, which gives it to the widget with the focus.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::sendKeyEvent(QTest::Click, dialog.windowHandle(), key, QString(), modifiers);
    }
    void pressNative(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 virtualKey)
    {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, 0, virtualKey, 0);
        QApplication::sendEvent(&edit, &event);
    }

    void expectPrompt() const
    {
        EXPECT_EQ(edit.text(), "Press a key combination...");
        EXPECT_EQ(edit.styleSheet(), "QLineEdit { font-size: 14px; font-weight: bold;  border: 2px solid #7c6aef; }");
        EXPECT_TRUE(edit.hasFocus());
    }

    void expectIdle(const char* text) const
    {
        EXPECT_EQ(edit.text(), text);
        EXPECT_EQ(edit.styleSheet(), "QLineEdit { font-size: 14px; font-weight: bold; }");
        EXPECT_FALSE(edit.hasFocus());
        EXPECT_EQ(collected().hotkey, text);
        EXPECT_TRUE(dialog.isVisible() && applied == 0) << "a button or the window took the key";
    }

    test::FakePlatform& platform = test::FakePlatform::instance();
    int applied = 0;
    SettingsDialog dialog{{}, [this] { ++applied; }};
    QTabWidget& pages = test::find<QTabWidget>(dialog, "settingsTabs");
    QPushButton& apply = *test::find<QDialogButtonBox>(dialog, "settingsButtons").button(QDialogButtonBox::Apply);
    QLineEdit& edit = test::find<QLineEdit>(dialog, "hotkeyEdit");
};

TEST_F(HotkeyTabTest, ShowsAndStoresWhatIsPressed)
{
    const auto all = Qt::MetaModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::ControlModifier;
    const std::tuple<Qt::Key, Qt::KeyboardModifiers, const char*, quint32> combinations[] = {
        {Qt::Key_F5, Qt::ControlModifier | Qt::ShiftModifier, "Ctrl+Shift+F5", 0},
        {Qt::Key_F24, all, "Ctrl+Shift+Alt+Win+F24", 0},
        {Qt::Key_PageUp, Qt::KeypadModifier | Qt::AltModifier, "Alt+PgUp", 0},
        // Keys that mean something to the line edit or to the window.
        {Qt::Key_C, Qt::ControlModifier, "Ctrl+C", 0},
        {Qt::Key_Return, {}, "Return", 0},
        {Qt::Key_A, Qt::AltModifier, "Alt+A", 0},
        // Not a name that hotkeys know, and kept all the same.
        {Qt::Key_Semicolon, Qt::MetaModifier, "Win+;", 0},
        // Digits are keys: which sign Shift makes of them, or the layout without Shift, is all the same.
        {Qt::Key_Exclam, Qt::ControlModifier | Qt::ShiftModifier, "Ctrl+Shift+1", '1'},
        {Qt::Key_ParenLeft, Qt::AltModifier, "Alt+5", '5'},
        {Qt::Key_Exclam, Qt::ControlModifier, "Ctrl+!", 0xDF},
    };
    for (const auto& [key, modifiers, text, virtualKey] : combinations) {
        click();
        for (const Qt::Key modifier : {Qt::Key_Shift, Qt::Key_Control, Qt::Key_Meta, Qt::Key_Alt, Qt::Key_AltGr,
                 Qt::Key_Super_L, Qt::Key_Super_R, Qt::Key_unknown}) {
            press(modifier);
            expectPrompt();
        }
        const int probes = platform.probes();
        virtualKey ? pressNative(key, modifiers, virtualKey) : press(key, modifiers);
        expectIdle(text);
        EXPECT_EQ(platform.probes(), probes + 1) << text;
    }
}

TEST_F(HotkeyTabTest, EscapeAndLeavingBringTheOldTextBack)
{
    const int probes = platform.probes();
    const std::function<void()> waysOut[] = {
        [&] { press(Qt::Key_Escape); },
        [&] { press(Qt::Key_Tab); },
        [&] { press(Qt::Key_Backtab, Qt::ShiftModifier); },
        [&] { apply.setFocus(); },
    };
    for (const auto& leave : waysOut) {
        click();
        expectPrompt();
        EXPECT_EQ(collected().hotkey, "F9");
        leave();
        expectIdle("F9");
    }
    EXPECT_EQ(platform.probes(), probes);
    click();
    fill("F10"); // the window is shown again
    expectIdle("F10");
    apply.setFocus();
    expectIdle("F10");
    press(Qt::Key_Escape);
    EXPECT_FALSE(dialog.isVisible()) << "Escape belongs to the window again";
}

TEST_F(HotkeyTabTest, TurningThePagesOfTheWindowCapturesNothing)
{
    for (const auto& [key, modifiers, page] : {std::tuple(Qt::Key_Tab, Qt::KeyboardModifiers(Qt::ControlModifier), 3),
             std::tuple(Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier, 1)}) {
        pages.setCurrentIndex(2);
        click();
        press(key, modifiers);
        expectIdle("F9");
        EXPECT_EQ(pages.currentIndex(), page);
    }
    // The page that is opened gives its first field the focus.
    test::find<QWidget>(dialog, "vadSlider").setFocus();
    QTest::mouseClick(pages.tabBar(), Qt::LeftButton, {}, pages.tabBar()->tabRect(2).center());
    EXPECT_TRUE(edit.hasFocus());
    EXPECT_EQ(edit.text(), "F9");
    QCoreApplication::processEvents();
    apply.setFocus();
    edit.setFocus();
    expectPrompt();
}

TEST_F(HotkeyTabTest, HeldKeyThatEndsTheWaitDoesNothingInTheWindow)
{
    for (const auto& [key, text] : {std::pair(Qt::Key_Escape, "F9"), std::pair(Qt::Key_Return, "Return")}) {
        click();
        press(key);
        for (int i = 0; i < 2; ++i) {
            QKeyEvent repeated(QEvent::KeyPress, key, {}, {}, true);
            QApplication::sendEvent(&dialog, &repeated);
        }
        expectIdle(text);
    }
    press(Qt::Key_Return);
    EXPECT_EQ(dialog.result(), QDialog::Accepted) << "pressed again, the key is the window's";
}

TEST_F(HotkeyTabTest, PresentHotkeyCanBePressed)
{
    namespace vk = platform::vk;
    int recordings = 0;
    ASSERT_TRUE(HotkeyManager::startToggle(defaultHotkey, [&] { ++recordings; }));
    platform.press({vk::leftControl, vk::leftShift});
    click();
    EXPECT_FALSE(platform.press(vk::space)) << "the field does not see it";
    platform.release({vk::space});
    press(Qt::Key_Escape);
    EXPECT_EQ(recordings, 0);
    EXPECT_TRUE(platform.press(vk::space));
    EXPECT_EQ(recordings, 1);
    HotkeyManager::stop();
}

TEST_F(HotkeyTabTest, WarnsOfCombinationsThatMayNotWork)
{
    const auto warning = [this] {
        const auto& label = test::find<QLabel>(dialog, "hotkeyWarning");
        return label.isHidden() ? QString() : label.text() + label.styleSheet();
    };
    const QString look = "color: %1; font-size: 12px; padding: 4px 0; background: transparent;";
    const QString reserved = "⚠ This key combination is reserved by Windows and cannot be used." + look.arg("#f87171");
    const QString taken = "⚠ This key combination may be registered by another application." + look.arg("#fbbf24");
    EXPECT_EQ(warning(), "");
    click();
    press(Qt::Key_L, Qt::MetaModifier);
    EXPECT_EQ(warning(), reserved);
    expectIdle("Win+L"); // no refusal
    click();
    press(Qt::Key_F9);
    EXPECT_EQ(warning(), "");

    platform.setProbeResult(platform::ProbeResult::HeldByAnother);
    click();
    press(Qt::Key_Semicolon, Qt::MetaModifier); // means the default hotkey, which is taken
    EXPECT_EQ(warning(), taken);
    fill("Alt+F4");
    EXPECT_EQ(warning(), reserved);
}

TEST_F(HotkeyTabTest, DurationBelongsToToggleMode)
{
    auto& duration = test::find<QSpinBox>(dialog, "maxDurationSpinBox");
    for (const bool toggles : {false, true, false}) {
        test::find<QRadioButton>(dialog, toggles ? "toggleButton" : "pushToTalkButton").click();
        EXPECT_EQ(collected().toggleMode, toggles);
        EXPECT_EQ(duration.isEnabled(), toggles);
        EXPECT_EQ(test::find<QLabel>(dialog, "maxDurationLabel").isEnabled(), toggles);
    }
    duration.setValue(0);
    EXPECT_EQ(duration.text(), "1 min");
}

} // namespace
} // namespace quillo
