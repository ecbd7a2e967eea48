#include "ui/settings/settings_panel.h"

#include "history/history_store.h"
#include "settings/settings_store.h"
#include "ui/settings/settings_dialog.h"

#include "support/private_profile.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>

#include <gmock/gmock.h>

#include <optional>
#include <vector>

namespace quillo {
namespace {

const test::PrivateProfile profile;

SettingsDialog* openDialog()
{
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* dialog = dynamic_cast<SettingsDialog*>(window))
            return dialog;
    return nullptr;
}

class SettingsPanelTest : public testing::Test {
protected:
    SettingsPanelTest()
    {
        profile.empty();
        panel.emplace();
        panel->setOnSettingsApplied([this](const SettingsData& settings) { applied.push_back(settings); });
    }

    SettingsDialog& show()
    {
        panel->show();
        SettingsDialog* dialog = openDialog();
        EXPECT_TRUE(dialog && QTest::qWaitForWindowActive(dialog));
        return *dialog;
    }

    static void click(SettingsDialog& dialog, QDialogButtonBox::StandardButton button)
    {
        QTest::mouseClick(dialog.findChild<QDialogButtonBox*>("settingsButtons")->button(button), Qt::LeftButton);
    }

    /// What the user sees.
    static SettingsData shown(const SettingsDialog& dialog)
    {
        SettingsData settings;
        dialog.collectSettings(settings);
        return settings;
    }

    /// Settings that only the user can have brought about.
    static SettingsData edited(const char* hotkey = "Ctrl+Alt+F9")
    {
        SettingsData settings = SettingsStore::load();
        settings.hotkey = hotkey;
        settings.toggleMode = true;
        settings.maxRecordingMinutes = 7;
        settings.openaiKey = " key ";
        settings.overlayOpacity = 0.75F;
        return settings;
    }

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
    dialog.setSettings(edited());
    click(dialog, QDialogButtonBox::Ok);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(SettingsStore::load(), edited());
    EXPECT_THAT(applied, testing::ElementsAre(edited()));
}

TEST_F(SettingsPanelTest, OkWithoutACallbackSavesAndHides)
{
    panel->setOnSettingsApplied({});
    SettingsDialog& dialog = show();
    dialog.setSettings(edited());
    click(dialog, QDialogButtonBox::Ok);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(SettingsStore::load(), edited());
}

/// A way of leaving the window without confirming.
struct WayOut {
    const char* name;
    void (*leave)(SettingsDialog&);
};

class WayOutTest : public SettingsPanelTest, public testing::WithParamInterface<WayOut> {
public:
    static void cancel(SettingsDialog& dialog) { click(dialog, QDialogButtonBox::Cancel); }
    static void escape(SettingsDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); }
    static void close(SettingsDialog& dialog) { dialog.close(); }
};

TEST_P(WayOutTest, KeepsWhatWasAppliedAndDropsTheRest)
{
    SettingsDialog& dialog = show();
    dialog.setSettings(edited());
    click(dialog, QDialogButtonBox::Apply);
    EXPECT_TRUE(dialog.isVisible());

    dialog.setSettings(edited("Alt+F2"));
    GetParam().leave(dialog);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(SettingsStore::load(), edited());
    EXPECT_THAT(applied, testing::ElementsAre(edited()));
    EXPECT_EQ(shown(show()), edited());
}

INSTANTIATE_TEST_SUITE_P(Ways, WayOutTest,
    testing::Values(
        WayOut{"Cancel", WayOutTest::cancel}, WayOut{"Escape", WayOutTest::escape}, WayOut{"Close", WayOutTest::close}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(SettingsPanelTest, ShowingAgainReloadsTheSameWindowAndBringsItToTheFront)
{
    SettingsDialog& dialog = show();
    dialog.setSettings(edited("Alt+F2"));
    SettingsStore::save(edited());
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));

    EXPECT_EQ(&show(), &dialog);
    EXPECT_TRUE(dialog.isActiveWindow());
    EXPECT_EQ(shown(dialog), edited());
}

TEST_F(SettingsPanelTest, ThemeIsAlwaysSavedAsDark)
{
    SettingsData settings = edited();
    settings.theme = "light";
    SettingsStore::save(settings);
    click(show(), QDialogButtonBox::Apply);
    EXPECT_EQ(SettingsStore::load().theme, "dark");
}

TEST_F(SettingsPanelTest, DeliveredTextsGoToTheHistory)
{
    panel->addHistoryEntry("spoken");
    ASSERT_THAT(HistoryStore::load(), testing::SizeIs(1));
    EXPECT_EQ(HistoryStore::load().front().text, "spoken");
}

TEST_F(SettingsPanelTest, WindowGoesWithThePanel)
{
    show();
    panel.reset();
    EXPECT_EQ(openDialog(), nullptr);
}

} // namespace
} // namespace quillo
