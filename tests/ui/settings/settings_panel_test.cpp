#include "ui/settings/settings_panel.h"

#include "audio/audio_capture.h"
#include "base/utf8_path.h"
#include "history/history_store.h"
#include "model/model_manager.h"
#include "settings/paths.h"
#include "settings/settings_store.h"
#include "ui/settings/settings_dialog.h"

#include "stand_ins/fake_platform.h"
#include "stand_ins/fake_portaudio.h"
#include "support/files.h"
#include "support/private_profile.h"
#include "support/top_level.h"

#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

namespace quillo {
namespace {

using testing::ElementsAre;

const test::PrivateProfile profile;

/// After editEverything().
SettingsData edited()
{
    return {"Ctrl+Alt+F9", true, 6, "1", 0.6F, false, false, " sk-1 ", "m 2", true, true, "mistral", "top-left", "dark",
        0.8F};
}

class SettingsPanelTest : public testing::Test {
protected:
    SettingsPanelTest()
    {
        profile.empty();
        test::FakePlatform::instance().reset();
        test::FakePlatform::instance().setDataRoot(profile.dataRoot().string());
        test::FakePortAudio::instance().reset();
        test::FakePortAudio::instance().setDevices({{.name = "Built in"}, {.name = "Headset"}}, 0);
        panel.emplace();
        panel->setAudioCapture(&capture);
        panel->setModelManager(&models);
        panel->setOnSettingsApplied([this](const SettingsData& settings) { applied.push_back(settings); });
    }

    SettingsDialog& show()
    {
        panel->show();
        SettingsDialog* dialog = test::topLevel<SettingsDialog>().value(0);
        EXPECT_TRUE(dialog && QTest::qWaitForWindowActive(dialog));
        return *dialog;
    }

    static void click(SettingsDialog& dialog, QDialogButtonBox::StandardButton button)
    {
        QTest::mouseClick(dialog.findChild<QDialogButtonBox*>("settingsButtons")->button(button), Qt::LeftButton);
    }

    /// Brings a widget to the front and gives it a key.
    static void key(SettingsDialog& dialog, const char* widget, Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(&focus(dialog, widget), key, modifiers);
    }

    static QWidget& focus(SettingsDialog& dialog, const char* widget)
    {
        auto& found = *dialog.findChild<QWidget*>(widget);
        auto* tabs = dialog.findChild<QTabWidget*>("settingsTabs");
        for (int i = 0; i < tabs->count(); ++i)
            if (tabs->widget(i)->isAncestorOf(&found))
                tabs->setCurrentIndex(i);
        found.setFocus(Qt::TabFocusReason);
        EXPECT_TRUE(found.hasFocus()) << widget;
        return found;
    }

    /// Changes every field of a window that shows the defaults.
    static void editEverything(SettingsDialog& dialog)
    {
        key(dialog, "hotkeyEdit", Qt::Key_F9, Qt::ControlModifier | Qt::AltModifier);
        key(dialog, "toggleButton", Qt::Key_Space);
        key(dialog, "maxDurationSpinBox", Qt::Key_Up);
        key(dialog, "deviceCombo", Qt::Key_End);
        key(dialog, "vadSlider", Qt::Key_PageUp);
        key(dialog, "soundOnStartCheck", Qt::Key_Space);
        key(dialog, "soundOnCompleteCheck", Qt::Key_Space);
        key(dialog, "sourceCombo", Qt::Key_End);
        key(dialog, "openaiEnableBox", Qt::Key_Space);
        QTest::keyClicks(&focus(dialog, "openaiKeyEdit"), " sk-1 ");
        key(dialog, "mistralEnableBox", Qt::Key_Space);
        QTest::keyClicks(&focus(dialog, "mistralKeyEdit"), "m 2");
        key(dialog, "positionCombo", Qt::Key_Down);
        key(dialog, "opacitySlider", Qt::Key_PageDown);
    }

    /// What the user sees.
    static SettingsData shown(const SettingsDialog& dialog)
    {
        SettingsData settings;
        dialog.collectSettings(settings);
        return settings;
    }

    AudioCapture capture;
    model::ModelManager models;
    std::vector<SettingsData> applied;
    std::optional<SettingsPanel> panel;
};

TEST_F(SettingsPanelTest, WindowHasItsTabsInOrderAndItsSize)
{
    SettingsDialog& dialog = show();
    EXPECT_EQ(dialog.windowTitle(), "Quillo Settings");
    EXPECT_FALSE(dialog.isModal());
    EXPECT_EQ(dialog.size(), QSize(580, 640));
    dialog.resize(100, 100);
    EXPECT_EQ(dialog.size(), QSize(540, 580));
    const auto* tabs = dialog.findChild<QTabWidget*>("settingsTabs");
    std::vector<QString> titles;
    for (int i = 0; i < tabs->count(); ++i)
        titles.push_back(tabs->tabText(i));
    EXPECT_THAT(titles, ElementsAre(" Models ", " Mic ", " Hotkey ", " Cloud ", " History ", " Style "));
}

TEST_F(SettingsPanelTest, ListsOfferTheirChoicesInOrder)
{
    const auto offered = [&dialog = show()](const char* name) {
        const auto* list = dialog.findChild<QComboBox*>(name);
        QStringList items;
        for (int i = 0; i < list->count(); ++i)
            items << list->itemText(i) + '=' + list->itemData(i).toString();
        return items;
    };
    EXPECT_EQ(offered("sourceCombo"),
        QStringList({"Local (Whisper) — cloud as fallback=local", "OpenAI Whisper API — local as fallback=openai",
            "Mistral API — local as fallback=mistral"}));
    EXPECT_EQ(offered("positionCombo"),
        QStringList({"Near cursor=cursor", "Top left=top-left", "Top right=top-right", "Bottom center=bottom-center"}));
}

TEST_F(SettingsPanelTest, OkSavesAppliesAndHides)
{
    SettingsDialog& dialog = show();
    const auto* opacity = dialog.findChild<QLabel*>("opacityValueLabel");
    EXPECT_EQ(opacity->text(), "90%");
    editEverything(dialog);
    EXPECT_EQ(opacity->text(), "80%");
    click(dialog, QDialogButtonBox::Ok);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(SettingsStore::load(), edited());
    EXPECT_THAT(applied, ElementsAre(edited()));
}

TEST_F(SettingsPanelTest, EveryOtherWayOutKeepsWhatWasAppliedAndDropsTheRest)
{
    SettingsDialog& dialog = show();
    editEverything(dialog);
    click(dialog, QDialogButtonBox::Apply);
    EXPECT_TRUE(dialog.isVisible());

    const std::function<void()> waysOut[] = {
        [&] { click(dialog, QDialogButtonBox::Cancel); },
        [&] { QTest::keyClick(&dialog, Qt::Key_Escape); },
        [&] { dialog.close(); },
    };
    for (const auto& leave : waysOut) {
        key(dialog, "hotkeyEdit", Qt::Key_F2, Qt::AltModifier);
        EXPECT_EQ(shown(dialog).hotkey, "Alt+F2");
        leave();
        EXPECT_FALSE(dialog.isVisible());
        EXPECT_EQ(SettingsStore::load(), edited());
        EXPECT_THAT(applied, ElementsAre(edited()));
        EXPECT_EQ(shown(show()), edited());
    }
}

TEST_F(SettingsPanelTest, ShowingAgainReloadsTheSameWindowAndBringsItToTheFront)
{
    SettingsDialog& dialog = show();
    SettingsStore::save(edited());
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    EXPECT_EQ(&show(), &dialog);
    EXPECT_TRUE(dialog.isActiveWindow());
    EXPECT_EQ(shown(dialog), edited());
}

TEST_F(SettingsPanelTest, OddSettingsBecomeWhatTheWidgetsCanShow)
{
    SettingsData odd{" \tCtrl+F8 ", false, 0, "7", 0.53F, true, true, " k ", " l ", true, false, "OpenAI", "middle",
        "light", std::numeric_limits<float>::quiet_NaN()};
    SettingsData seen{
        "Ctrl+F8", false, 1, "", 0.52F, true, true, " k ", " l ", true, false, "local", "cursor", "dark", 0.5F};
    const auto expectSeen = [&] {
        SettingsStore::save(odd);
        click(show(), QDialogButtonBox::Apply);
        EXPECT_EQ(SettingsStore::load(), seen);
    };
    expectSeen();
    odd.maxRecordingMinutes = 1000, odd.vadSensitivity = -1, odd.overlayOpacity = 1e20F;
    seen.maxRecordingMinutes = 60, seen.vadSensitivity = 0, seen.overlayOpacity = 1;
    expectSeen();
    odd.vadSensitivity = 1.5F, odd.overlayOpacity = 0.53F;
    seen.vadSensitivity = 1, seen.overlayOpacity = 0.52F;
    expectSeen();
}

TEST_F(SettingsPanelTest, HistoryIsReadAtEveryShowAndCleared)
{
    SettingsDialog& dialog = show();
    panel->addHistoryEntry("first");
    panel->addHistoryEntry("second");
    show();
    auto& list = *dialog.findChild<QListWidget*>("historyList");
    ASSERT_EQ(list.count(), 2);
    EXPECT_EQ(list.item(0)->data(Qt::UserRole), "second");
    key(dialog, "historyClearButton", Qt::Key_Space);
    EXPECT_THAT(HistoryStore::load(), testing::IsEmpty());
}

TEST_F(SettingsPanelTest, MicrophoneTestEndsWithTheWindow)
{
    for (const bool closedFirst : {true, false}) {
        SettingsDialog& dialog = show();
        key(dialog, "micTestButton", Qt::Key_Space);
        EXPECT_EQ(test::FakePortAudio::instance().runningStreams(), 1);
        if (closedFirst)
            dialog.close();
        else
            panel.reset();
        EXPECT_TRUE(QTest::qWaitFor([] { return test::FakePortAudio::instance().openStreams() == 0; }));
    }
}

QRect place(const QWidget* widget)
{
    return {widget->mapTo(widget->window(), QPoint()), widget->size()};
}

// Whether a reader who has just read one widget finds the other further on.
bool inReadingOrder(const QWidget* first, const QWidget* second)
{
    const QRect a = place(first);
    const QRect b = place(second);
    const bool sameRow = a.top() <= b.bottom() && b.top() <= a.bottom();
    return first->isAncestorOf(second) || (sameRow ? b.left() > a.right() : b.top() > a.bottom());
}

// For those who use no mouse or see no screen.
TEST_F(SettingsPanelTest, KeyboardReachesEveryWidgetInReadingOrderAndEachHasAName)
{
    for (const char* file : {"ggml-tiny.bin", "ggml-base.bin"})
        test::writeFile(pathFromUtf8(modelsDir()) / file, "content");
    models.setActiveModel("base");
    panel->addHistoryEntry("older");
    panel->addHistoryEntry("newer");
    SettingsStore::save(edited()); // with everything enabled that can be
    SettingsDialog& dialog = show();
    auto& tabs = *dialog.findChild<QTabWidget*>("settingsTabs");
    const auto walk = [&tabs](Qt::Key key) { // from the tab bar until it comes back there
        std::vector<QWidget*> reached;
        tabs.tabBar()->setFocus();
        do {
            reached.push_back(QApplication::focusWidget());
            QTest::keyClick(reached.back(), key);
        } while (QApplication::focusWidget() != reached.front() && reached.size() < 100);
        return reached;
    };
    for (int tab = 0; tab < tabs.count(); ++tab) {
        tabs.setCurrentIndex(tab);
        std::vector<QWidget*> forwards = walk(Qt::Key_Tab);
        std::vector<QWidget*> focusable;
        for (QWidget* widget : dialog.findChildren<QWidget*>())
            if (widget->isVisible() && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus)
                && !widget->focusProxy())
                focusable.push_back(widget);
        ASSERT_THAT(forwards, testing::UnorderedElementsAreArray(focusable)) << tab;
        for (std::size_t i = 0; i < forwards.size(); ++i) {
            forwards[i]->setFocus(); // into view
            const QString name = QAccessible::queryAccessibleInterface(forwards[i])->text(QAccessible::Name);
            EXPECT_FALSE(name.isEmpty()) << qPrintable(forwards[i]->objectName());
            EXPECT_TRUE(i == 0 || inReadingOrder(forwards[i - 1], forwards[i])) << qPrintable(name);
        }
        const std::vector<QWidget*> backwards = walk(Qt::Key_Backtab);
        std::reverse(forwards.begin() + 1, forwards.end());
        EXPECT_EQ(backwards, forwards);
    }
}

} // namespace
} // namespace quillo
