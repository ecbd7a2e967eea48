// The settings window for those who use no mouse or see no screen.
#include "audio/audio_capture.h"
#include "base/utf8_path.h"
#include "model/model_manager.h"
#include "settings/paths.h"
#include "ui/settings/settings_dialog.h"

#include "support/fake_platform.h"
#include "support/fake_portaudio.h"
#include "support/files.h"
#include "support/private_profile.h"

#include <QAccessible>
#include <QApplication>
#include <QTabBar>
#include <QTabWidget>
#include <QTest>

#include <gmock/gmock.h>

#include <algorithm>
#include <vector>

namespace quillo {
namespace {

const test::PrivateProfile profile;

QString nameOf(const QWidget* widget)
{
    return QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget))->text(QAccessible::Name);
}

QRect place(const QWidget* widget)
{
    return {widget->mapTo(widget->window(), QPoint()), widget->size()};
}

// Whether a reader who has just read one widget finds the other further on.
bool inReadingOrder(const QWidget* first, const QWidget* second)
{
    if (first->isAncestorOf(second))
        return true;
    const QRect a = place(first);
    const QRect b = place(second);
    const bool sameRow = a.top() <= b.bottom() && b.top() <= a.bottom();
    return sameRow ? b.left() > a.right() : b.top() > a.bottom();
}

/// One of the tabs, with everything enabled that can be.
class KeyboardWalk : public testing::TestWithParam<int> {
protected:
    KeyboardWalk()
    {
        test::FakePlatform::instance().setDataRoot(profile.dataRoot().string());
        for (const char* file : {"ggml-tiny.bin", "ggml-base.bin"})
            test::writeFile(pathFromUtf8(modelsDir()) / file, "content");
        models.setActiveModel("base");
        dialog.populateModels(&models);
        dialog.setAudioCapture(&capture);
        dialog.refreshDevices();
        SettingsData settings;
        settings.toggleMode = settings.openaiEnabled = settings.mistralEnabled = true;
        dialog.setSettings(settings);
        dialog.setHistory({{"Nov 18, 10:00", "newer"}, {"Nov 17, 09:00", "older"}});
        tabs().setCurrentIndex(GetParam());
        dialog.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&dialog));
    }

    QTabWidget& tabs() { return *dialog.findChild<QTabWidget*>("settingsTabs"); }

    /// The widgets that a key leads to, from the tab bar until it comes back there.
    std::vector<QWidget*> walk(Qt::Key key)
    {
        std::vector<QWidget*> reached{tabs().tabBar()};
        tabs().tabBar()->setFocus();
        while (reached.size() < 100) {
            QTest::keyClick(QApplication::focusWidget(), key);
            if (QApplication::focusWidget() == reached.front())
                break;
            reached.push_back(QApplication::focusWidget());
        }
        return reached;
    }

    std::vector<QWidget*> focusable() const
    {
        std::vector<QWidget*> found;
        for (QWidget* widget : dialog.findChildren<QWidget*>())
            if (widget->isVisible() && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus)
                && !widget->focusProxy())
                found.push_back(widget);
        return found;
    }

    AudioCapture capture;
    model::ModelManager models;
    SettingsDialog dialog;
};

TEST_P(KeyboardWalk, ReachesEveryWidgetInReadingOrderAndEachHasAName)
{
    std::vector<QWidget*> forwards = walk(Qt::Key_Tab);
    ASSERT_THAT(forwards, testing::UnorderedElementsAreArray(focusable()));
    for (std::size_t i = 0; i < forwards.size(); ++i) {
        forwards[i]->setFocus(); // into view
        EXPECT_FALSE(nameOf(forwards[i]).isEmpty()) << qPrintable(forwards[i]->objectName());
        EXPECT_TRUE(i == 0 || inReadingOrder(forwards[i - 1], forwards[i])) << qPrintable(nameOf(forwards[i]));
    }
    const std::vector<QWidget*> backwards = walk(Qt::Key_Backtab);
    std::reverse(forwards.begin() + 1, forwards.end());
    EXPECT_EQ(backwards, forwards);
}

constexpr const char* titles[] = {"Models", "Mic", "Hotkey", "Cloud", "History", "Style"};

INSTANTIATE_TEST_SUITE_P(
    Tabs, KeyboardWalk, testing::Range(0, 6), [](const auto& tested) { return titles[tested.param]; });

} // namespace
} // namespace quillo
