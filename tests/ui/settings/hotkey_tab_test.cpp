#include "ui/settings/hotkey_tab.h"

#include "hotkey/hotkey_manager.h"
#include "stand_ins/fake_platform.h"

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <functional>
#include <tuple>
#include <utility>

namespace quillo {
namespace {

// The page in a window like its own: one whose buttons have keys too.
class HotkeyTabTest : public testing::Test {
protected:
    HotkeyTabTest()
    {
        platform.reset();
        auto* layout = new QVBoxLayout(&dialog);
        pages->addTab(tab, "Hotkey");
        pages->addTab(new QWidget, "Next");
        layout->addWidget(pages);
        layout->addWidget(apply);
        layout->addWidget(ok);
        ok->setDefault(true);
        QObject::connect(ok, &QPushButton::clicked, &dialog, &QDialog::accept);
        QObject::connect(apply, &QPushButton::clicked, &dialog, &QDialog::reject);
        fill("F9");
        dialog.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&dialog));
        apply->setFocus();
    }

    void fill(const char* hotkey)
    {
        SettingsData settings;
        settings.hotkey = hotkey;
        tab->setSettings(settings);
    }

    SettingsData collected() const
    {
        SettingsData settings;
        tab->collectSettings(settings);
        return settings;
    }

    void click() { QTest::mouseClick(edit, Qt::LeftButton); }

    // As the window system delivers it: to the window, which gives it to the widget with the focus.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::sendKeyEvent(QTest::Click, dialog.windowHandle(), key, QString(), modifiers);
    }
    void pressNative(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 virtualKey)
    {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, 0, virtualKey, 0);
        QApplication::sendEvent(edit, &event);
    }

    void expectPrompt() const
    {
        EXPECT_EQ(edit->text(), "Press a key combination...");
        EXPECT_EQ(edit->styleSheet(), "QLineEdit { font-size: 14px; font-weight: bold;  border: 2px solid #7c6aef; }");
        EXPECT_TRUE(edit->hasFocus());
    }

    void expectIdle(const char* text) const
    {
        EXPECT_EQ(edit->text(), text);
        EXPECT_EQ(edit->styleSheet(), "QLineEdit { font-size: 14px; font-weight: bold; }");
        EXPECT_FALSE(edit->hasFocus());
        EXPECT_EQ(collected().hotkey, text);
        EXPECT_TRUE(dialog.isVisible()) << "a button or the window took the key";
    }

    test::FakePlatform& platform = test::FakePlatform::instance();
    QDialog dialog;
    QTabWidget* const pages = new QTabWidget;
    HotkeyTab* const tab = new HotkeyTab;
    QPushButton* const apply = new QPushButton("&Apply");
    QPushButton* const ok = new QPushButton("OK");
    QLineEdit* const edit = tab->findChild<QLineEdit*>("hotkeyEdit");
    QLabel* const warning = tab->findChild<QLabel*>("hotkeyWarning");
};

TEST_F(HotkeyTabTest, ShowsAndStoresWhatIsPressed)
{
    const auto all = Qt::MetaModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::ControlModifier;
    const std::tuple<Qt::Key, Qt::KeyboardModifiers, const char*, quint32> combinations[] = {
        {Qt::Key_F5, Qt::ControlModifier | Qt::ShiftModifier, "Ctrl+Shift+F5", 0},
        {Qt::Key_F24, all, "Ctrl+Shift+Alt+Win+F24", 0},
        {Qt::Key_PageUp, Qt::KeypadModifier | Qt::AltModifier, "Alt+PgUp", 0},
        {Qt::Key_PageDown, Qt::ControlModifier, "Ctrl+PgDown", 0},
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
        expectPrompt();
        const int probes = platform.probes();
        virtualKey ? pressNative(key, modifiers, virtualKey) : press(key, modifiers);
        expectIdle(text);
        EXPECT_EQ(platform.probes(), probes + 1) << text;
    }
}

TEST_F(HotkeyTabTest, ModifiersAloneAreWaitedOut)
{
    click();
    for (const Qt::Key key : {Qt::Key_Shift, Qt::Key_Control, Qt::Key_Meta, Qt::Key_Alt, Qt::Key_AltGr, Qt::Key_Super_L,
             Qt::Key_Super_R, Qt::Key_unknown}) {
        press(key);
        expectPrompt();
    }
    press(Qt::Key_Space, Qt::ShiftModifier);
    expectIdle("Shift+Space");
}

TEST_F(HotkeyTabTest, EscapeAndLeavingBringTheOldTextBack)
{
    const int probes = platform.probes();
    const std::function<void()> waysOut[] = {
        [&] { press(Qt::Key_Escape); },
        [&] { press(Qt::Key_Tab); },
        [&] { press(Qt::Key_Backtab, Qt::ShiftModifier); },
        [&] { apply->setFocus(); },
    };
    for (const auto& leave : waysOut) {
        click();
        expectPrompt();
        leave();
        expectIdle("F9");
    }
    EXPECT_EQ(platform.probes(), probes);
    press(Qt::Key_Escape);
    EXPECT_FALSE(dialog.isVisible()) << "Escape belongs to the window again";
}

TEST_F(HotkeyTabTest, TurningThePagesOfTheWindowCapturesNothing)
{
    for (const auto& [key, modifiers] : {std::pair(Qt::Key_Tab, Qt::KeyboardModifiers(Qt::ControlModifier)),
             std::pair(Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier)}) {
        pages->setCurrentIndex(0);
        click();
        press(key, modifiers);
        expectIdle("F9");
        EXPECT_EQ(pages->currentIndex(), 1);
    }
    // The page that is opened gives its first field the focus.
    pages->widget(1)->setFocusPolicy(Qt::StrongFocus);
    pages->widget(1)->setFocus();
    QTest::mouseClick(pages->tabBar(), Qt::LeftButton, {}, pages->tabBar()->tabRect(0).center());
    EXPECT_TRUE(edit->hasFocus());
    EXPECT_EQ(edit->text(), "F9");
    QCoreApplication::processEvents();
    apply->setFocus();
    edit->setFocus();
    expectPrompt();
}

TEST_F(HotkeyTabTest, HeldKeyThatEndsTheWaitDoesNothingInTheWindow)
{
    const auto repeat = [this](int key, Qt::KeyboardModifiers modifiers = {}) {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, {}, true);
        QApplication::sendEvent(&dialog, &event);
    };
    for (const auto& [key, text] : {std::pair(Qt::Key_Escape, "F9"), std::pair(Qt::Key_Return, "Return")}) {
        click();
        press(key);
        repeat(key);
        repeat(key);
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

TEST_F(HotkeyTabTest, ThePromptIsNeverStored)
{
    click();
    EXPECT_EQ(collected().hotkey, "F9");
    fill("F10"); // the window is shown again
    expectIdle("F10");
    apply->setFocus();
    expectIdle("F10");
}

TEST_F(HotkeyTabTest, WarnsOfCombinationsThatMayNotWork)
{
    const auto expectWarning = [&](const QString& text, const QString& color) {
        EXPECT_FALSE(warning->isHidden());
        EXPECT_EQ(warning->text(), text);
        EXPECT_EQ(
            warning->styleSheet(), "color: " + color + "; font-size: 12px; padding: 4px 0; background: transparent;");
    };
    const char* reserved = "⚠ This key combination is reserved by Windows and cannot be used.";
    const char* taken = "⚠ This key combination may be registered by another application.";
    EXPECT_TRUE(warning->isHidden());
    click();
    press(Qt::Key_L, Qt::MetaModifier);
    expectWarning(reserved, "#f87171");
    expectIdle("Win+L"); // no refusal
    click();
    press(Qt::Key_F9);
    EXPECT_TRUE(warning->isHidden());

    platform.setProbeResult(platform::ProbeResult::HeldByAnother);
    click();
    press(Qt::Key_Semicolon, Qt::MetaModifier); // means the default hotkey, which is taken
    expectWarning(taken, "#fbbf24");
    fill("Alt+F4");
    expectWarning(reserved, "#f87171");
}

TEST_F(HotkeyTabTest, DurationBelongsToToggleMode)
{
    auto* toggle = tab->findChild<QRadioButton*>("toggleButton");
    auto* duration = tab->findChild<QSpinBox*>("maxDurationSpinBox");
    const auto expectToggleMode = [&](bool on) {
        EXPECT_EQ(toggle->isChecked(), on);
        EXPECT_EQ(duration->isEnabled(), on);
        EXPECT_EQ(tab->findChild<QLabel*>("maxDurationLabel")->isEnabled(), on);
        EXPECT_EQ(collected().toggleMode, on);
    };
    expectToggleMode(false);
    for (QRadioButton* button : {toggle, tab->findChild<QRadioButton*>("pushToTalkButton")}) {
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(5, button->height() / 2));
        expectToggleMode(button == toggle);
    }
    duration->setValue(0);
    EXPECT_EQ(duration->text(), "1 min");
}

} // namespace
} // namespace quillo
