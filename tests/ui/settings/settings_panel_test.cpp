#include "ui/settings/settings_panel.h"

#include "audio/audio_capture.h"
#include "base/utf8_path.h"
#include "history/history_store.h"
#include "model/model_manager.h"
#include "settings/paths.h"
#include "settings/settings_store.h"
#include "ui/settings/settings_dialog.h"

#include "support/fake_platform.h"
#include "support/fake_portaudio.h"
#include "support/files.h"
#include "support/private_profile.h"
#include "support/top_level.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QListWidget>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace quillo {
namespace {

const test::PrivateProfile profile;

/// After editEverything().
SettingsData edited()
{
    return {.hotkey = "Ctrl+Alt+F9",
        .toggleMode = true,
        .maxRecordingMinutes = 6,
        .inputDeviceId = "1",
        .vadSensitivity = 0.6F,
        .soundOnStart = false,
        .soundOnComplete = false,
        .openaiKey = " sk-1 ",
        .mistralKey = "m 2",
        .openaiEnabled = true,
        .mistralEnabled = true,
        .transcriptionSource = "mistral",
        .overlayPosition = "top-left",
        .theme = "dark",
        .overlayOpacity = 0.8F};
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

    static void type(SettingsDialog& dialog, const char* widget, const char* text)
    {
        QTest::keyClicks(&focus(dialog, widget), text);
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
        type(dialog, "openaiKeyEdit", " sk-1 ");
        key(dialog, "mistralEnableBox", Qt::Key_Space);
        type(dialog, "mistralKeyEdit", "m 2");
        key(dialog, "positionCombo", Qt::Key_Down);
        key(dialog, "opacitySlider", Qt::Key_PageDown);
    }

    static void editHotkey(SettingsDialog& dialog) { key(dialog, "hotkeyEdit", Qt::Key_F2, Qt::AltModifier); }

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
    for (int i = 0; i < tabs->count(); ++i) {
        titles.push_back(tabs->tabText(i));
        QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, tabs->tabBar()->tabRect(i).center());
        EXPECT_EQ(tabs->currentIndex(), i);
        EXPECT_TRUE(tabs->widget(i)->isVisible());
    }
    EXPECT_THAT(titles, testing::ElementsAre(" Models ", " Mic ", " Hotkey ", " Cloud ", " History ", " Style "));

    tabs->tabBar()->setFocus();
    for (int i = tabs->count() - 1; i > 0; --i)
        QTest::keyClick(tabs->tabBar(), Qt::Key_Left);
    EXPECT_EQ(tabs->currentIndex(), 0);
}

TEST_F(SettingsPanelTest, OkSavesAppliesAndHides)
{
    SettingsDialog& dialog = show();
    editEverything(dialog);
    click(dialog, QDialogButtonBox::Ok);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(SettingsStore::load(), edited());
    EXPECT_THAT(applied, testing::ElementsAre(edited()));
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
        editHotkey(dialog);
        EXPECT_EQ(shown(dialog).hotkey, "Alt+F2");
        leave();
        EXPECT_FALSE(dialog.isVisible());
        EXPECT_EQ(SettingsStore::load(), edited());
        EXPECT_THAT(applied, testing::ElementsAre(edited()));
        EXPECT_EQ(shown(show()), edited());
    }
}

TEST_F(SettingsPanelTest, ShowingAgainReloadsTheSameWindowAndBringsItToTheFront)
{
    SettingsDialog& dialog = show();
    editHotkey(dialog);
    EXPECT_EQ(shown(dialog).hotkey, "Alt+F2");
    SettingsStore::save(edited());
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));

    EXPECT_EQ(&show(), &dialog);
    EXPECT_TRUE(dialog.isActiveWindow());
    EXPECT_EQ(shown(dialog), edited());
}

/// What becomes of stored settings that are shown and saved again.
struct Passage {
    const char* name;
    SettingsData stored;
    SettingsData saved;
};

template<typename T>
Passage passage(const char* name, T SettingsData::*field, std::type_identity_t<T> stored, std::type_identity_t<T> saved)
{
    Passage result{name, edited(), edited()};
    result.stored.*field = stored;
    result.saved.*field = saved;
    return result;
}

class PassageTest : public SettingsPanelTest, public testing::WithParamInterface<Passage> { };

TEST_P(PassageTest, ThroughTheWindow)
{
    SettingsStore::save(GetParam().stored);
    click(show(), QDialogButtonBox::Apply);
    EXPECT_EQ(SettingsStore::load(), GetParam().saved);
}

INSTANTIATE_TEST_SUITE_P(Settings, PassageTest,
    testing::Values(Passage{"Unchanged", edited(), edited()},
        passage("HotkeyIsTrimmed", &SettingsData::hotkey, " \tCtrl+F8 ", "Ctrl+F8"),
        passage("KeysAreNotTrimmed", &SettingsData::mistralKey, " k ", " k "),
        passage("UnknownDevice", &SettingsData::inputDeviceId, "7", ""),
        passage("UnknownSource", &SettingsData::transcriptionSource, "OpenAI", "local"),
        passage("UnknownPosition", &SettingsData::overlayPosition, "middle", "cursor"),
        passage("NoMinutes", &SettingsData::maxRecordingMinutes, 0, 1),
        passage("TooManyMinutes", &SettingsData::maxRecordingMinutes, 1000, 60),
        passage("OpacityIsCut", &SettingsData::overlayOpacity, 0.53F, 0.52F),
        passage("TooLittleOpacity", &SettingsData::overlayOpacity, 0.3F, 0.5F),
        passage("TooMuchOpacity", &SettingsData::overlayOpacity, 1e20F, 1.0F),
        passage("SensitivityIsCut", &SettingsData::vadSensitivity, 0.53F, 0.52F),
        passage("OpacityIsNoNumber", &SettingsData::overlayOpacity, std::numeric_limits<float>::quiet_NaN(), 0.5F),
        passage("TooLittleSensitivity", &SettingsData::vadSensitivity, -1.0F, 0.0F),
        passage("TooMuchSensitivity", &SettingsData::vadSensitivity, 1.5F, 1.0F),
        passage("ThemeIsDark", &SettingsData::theme, "light", "dark")),
    [](const auto& tested) { return tested.param.name; });

TEST_F(SettingsPanelTest, UnknownChoicesLeaveWhatTheListsShow)
{
    SettingsDialog& dialog = show();
    editEverything(dialog);
    SettingsData stored = edited();
    stored.inputDeviceId = stored.transcriptionSource = stored.overlayPosition = "unknown";
    SettingsStore::save(stored);
    EXPECT_EQ(shown(show()), edited());
}

TEST_F(SettingsPanelTest, HistoryIsReadAtEveryShowAndCleared)
{
    for (const char* text : {"first", "second", "third"})
        panel->addHistoryEntry(text);
    SettingsDialog& dialog = show();
    auto& list = *dialog.findChild<QListWidget*>("historyList");
    ASSERT_EQ(list.count(), 3);
    EXPECT_EQ(list.item(0)->data(Qt::UserRole), "third");

    panel->addHistoryEntry("fourth");
    show();
    ASSERT_EQ(list.count(), 4);
    EXPECT_EQ(list.item(0)->data(Qt::UserRole), "fourth");

    key(dialog, "historyClearButton", Qt::Key_Space);
    EXPECT_THAT(HistoryStore::load(), testing::IsEmpty());
    show();
    EXPECT_EQ(list.count(), 0);
}

TEST_F(SettingsPanelTest, PassesOnWhatThePagesAsk)
{
    std::vector<std::string> asked;
    panel->setOnCloudTest([&](const std::string& provider, const std::string& apiKey, const auto& /*done*/) {
        asked.push_back(provider + " " + apiKey);
    });
    panel->setOnActiveModelChanged([&](const std::string& id) { asked.push_back(id); });
    test::writeFile(pathFromUtf8(modelsDir()) / "ggml-tiny.bin", "content");

    SettingsDialog& dialog = show();
    key(dialog, "setActiveButton", Qt::Key_Space);
    editEverything(dialog);
    key(dialog, "openaiTestButton", Qt::Key_Space);
    key(dialog, "mistralTestButton", Qt::Key_Space);
    EXPECT_THAT(asked, testing::ElementsAre("tiny", "openai sk-1", "mistral m 2"));
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
        EXPECT_EQ(test::FakePortAudio::instance().openStreams(), 0);
    }
}

} // namespace
} // namespace quillo
