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
#include "support/widgets.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

namespace quillo {
namespace {

using testing::ElementsAre;

const test::PrivateProfile profile;

/// After editEverything().
const SettingsData edited{
    "Ctrl+Alt+F9", true, 6, "1", 0.6F, false, true, " sk-1 ", "m 2", true, true, "mistral", "top-left", "dark", 0.8F};

class SettingsPanelTest : public testing::Test {
protected:
    SettingsPanelTest()
    {
        profile.empty();
        test::FakePlatform::instance().reset();
        test::FakePlatform::instance().setDataRoot(profile.dataRoot().string());
        test::FakePortAudio::instance().reset();
        test::FakePortAudio::instance().setDevices({{.name = "Built in"}, {.name = "Headset"}}, 0);
        panel.setAudioCapture(&capture);
        panel.setModelManager(&models);
        panel.setOnSettingsApplied([this](const SettingsData& settings) { applied.push_back(settings); });
        show();
    }

    void show()
    {
        panel.show();
        dialog = test::topLevel<SettingsDialog>().value(0);
        EXPECT_TRUE(dialog && QTest::qWaitForWindowActive(dialog));
        tabs = &test::find<QTabWidget>(*dialog, "settingsTabs");
    }

    template<typename Widget> Widget& find(const char* name) const { return test::find<Widget>(*dialog, name); }
    void click(QDialogButtonBox::StandardButton button) const
    {
        find<QDialogButtonBox>("settingsButtons").button(button)->click();
    }

    /// Brings a widget to the front and gives it the focus.
    QWidget* focus(const char* name) const
    {
        auto& found = find<QWidget>(name);
        for (int i = 0; i < tabs->count(); ++i)
            if (tabs->widget(i)->isAncestorOf(&found))
                tabs->setCurrentIndex(i);
        found.setFocus(Qt::TabFocusReason);
        EXPECT_TRUE(found.hasFocus()) << name;
        return &found;
    }

    /// Changes every field of a window that shows the defaults.
    void editEverything() const
    {
        QTest::keyClick(focus("hotkeyEdit"), Qt::Key_F9, Qt::ControlModifier | Qt::AltModifier);
        const std::pair<const char*, Qt::Key> keys[] = {{"toggleButton", Qt::Key_Space},
            {"maxDurationSpinBox", Qt::Key_Up}, {"deviceCombo", Qt::Key_End}, {"vadSlider", Qt::Key_PageUp},
            {"soundOnStartCheck", Qt::Key_Space}, {"sourceCombo", Qt::Key_End}, {"openaiEnableBox", Qt::Key_Space},
            {"mistralEnableBox", Qt::Key_Space}, {"positionCombo", Qt::Key_Down}, {"opacitySlider", Qt::Key_PageDown}};
        for (const auto& [widget, key] : keys)
            QTest::keyClick(focus(widget), key);
        QTest::keyClicks(focus("openaiKeyEdit"), " sk-1 ");
        QTest::keyClicks(focus("mistralKeyEdit"), "m 2");
    }

    /// What the user sees.
    SettingsData shown() const
    {
        SettingsData settings;
        dialog->collectSettings(settings);
        return settings;
    }

    AudioCapture capture;
    model::ModelManager models;
    std::vector<SettingsData> applied;
    SettingsPanel panel;
    SettingsDialog* dialog = nullptr; // the panel's
    QTabWidget* tabs = nullptr;
};

TEST_F(SettingsPanelTest, OffersItsPagesAndChoicesInOrder)
{
    EXPECT_EQ(dialog->windowTitle(), "Quillo Settings");
    EXPECT_FALSE(dialog->isModal());
    EXPECT_EQ(dialog->size(), QSize(580, 640));
    EXPECT_EQ(dialog->minimumSize(), QSize(540, 580));
    QStringList titles;
    for (int i = 0; i < tabs->count(); ++i)
        titles << tabs->tabText(i);
    EXPECT_EQ(titles, QStringList({" Models ", " Mic ", " Hotkey ", " Cloud ", " History ", " Style "}));
    EXPECT_EQ(test::choices(find<QComboBox>("sourceCombo")),
        QStringList({"Local (Whisper) — cloud as fallback=local", "OpenAI Whisper API — local as fallback=openai",
            "Mistral API — local as fallback=mistral"}));
    EXPECT_EQ(test::choices(find<QComboBox>("positionCombo")),
        QStringList({"Near cursor=cursor", "Top left=top-left", "Top right=top-right", "Bottom center=bottom-center"}));
}

TEST_F(SettingsPanelTest, ApplyAndOkSaveAndApplyAndEveryOtherWayOutDropsTheRest)
{
    EXPECT_EQ(test::labelText(*dialog, "opacityValueLabel"), "90%");
    editEverything();
    EXPECT_EQ(test::labelText(*dialog, "opacityValueLabel"), "80%");
    click(QDialogButtonBox::Apply);
    EXPECT_TRUE(dialog->isVisible());
    const std::function<void()> waysOut[] = {
        [&] { click(QDialogButtonBox::Cancel); },
        [&] { QTest::keyClick(dialog, Qt::Key_Escape); },
        [&] { dialog->close(); },
        [&] { click(QDialogButtonBox::Ok); },
    };
    for (const auto& leave : waysOut) {
        EXPECT_EQ(SettingsStore::load(), edited);
        EXPECT_THAT(applied, ElementsAre(edited));
        show();
        EXPECT_EQ(shown(), edited);
        QTest::keyClick(focus("hotkeyEdit"), Qt::Key_F2, Qt::AltModifier);
        leave();
        EXPECT_FALSE(dialog->isVisible());
    }
    SettingsData last = edited;
    last.hotkey = "Alt+F2";
    EXPECT_EQ(SettingsStore::load(), last);
    EXPECT_THAT(applied, ElementsAre(edited, last));
}

TEST_F(SettingsPanelTest, ShowingAgainReloadsTheSameWindowAndBringsItToTheFront)
{
    const auto* const before = dialog;
    SettingsStore::save(edited);
    panel.addHistoryEntry("first");
    panel.addHistoryEntry("second");
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    show();
    EXPECT_EQ(dialog, before);
    EXPECT_TRUE(dialog->isActiveWindow());
    EXPECT_EQ(shown(), edited);
    auto& list = find<QListWidget>("historyList");
    ASSERT_EQ(list.count(), 2);
    EXPECT_EQ(list.item(0)->data(Qt::UserRole), "second");
    test::click(*dialog, "historyClearButton");
    EXPECT_THAT(HistoryStore::load(), testing::IsEmpty());
}

TEST_F(SettingsPanelTest, OddSettingsBecomeWhatTheWidgetsCanShow)
{
    SettingsData odd{" \tCtrl+F8 ", false, 0, "7", 0.53F, true, false, " k ", " l ", true, false, "OpenAI", "middle",
        "light", std::numeric_limits<float>::quiet_NaN()};
    SettingsData seen{
        "Ctrl+F8", false, 1, "", 0.52F, true, false, " k ", " l ", true, false, "local", "cursor", "dark", 0.5F};
    const auto expectSeen = [&] {
        SettingsStore::save(odd);
        show();
        click(QDialogButtonBox::Apply);
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

// Whether a reader who has just read one widget finds the other further on.
bool inReadingOrder(const QWidget* first, const QWidget* second)
{
    const auto place = [](const QWidget* widget) {
        return QRect(widget->mapTo(widget->window(), QPoint()), widget->size());
    };
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
    panel.close();
    panel.addHistoryEntry("older");
    panel.addHistoryEntry("newer");
    SettingsStore::save(edited); // with everything enabled that can be
    show();
    const auto walk = [this](Qt::Key key) { // from the tab bar until it comes back there
        std::vector<QWidget*> reached;
        tabs->tabBar()->setFocus();
        do {
            reached.push_back(QApplication::focusWidget());
            QTest::keyClick(reached.back(), key);
        } while (QApplication::focusWidget() != reached.front() && reached.size() < 100);
        return reached;
    };
    for (int tab = 0; tab < tabs->count(); ++tab) {
        tabs->setCurrentIndex(tab);
        std::vector<QWidget*> forwards = walk(Qt::Key_Tab);
        std::vector<QWidget*> focusable;
        for (QWidget* widget : dialog->findChildren<QWidget*>())
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
