#include "app/icon.h"
#include "app/tray_controller.h"

#include "support/top_level.h"

#include <QAction>
#include <QApplication>
#include <QImageReader>
#include <QMenu>
#include <QTimer>

#include <gmock/gmock.h>

namespace quillo {
namespace {

using test::topLevel;
using testing::ElementsAre;

class Tray : public testing::Test {
protected:
    QAction* entry(const QString& text)
    {
        for (QAction* action : topLevel<QMenu>().first()->actions())
            if (action->text() == text)
                return action;
        return nullptr;
    }

    TrayController tray;
};

TEST_F(Tray, ShowsItsMenuOnceAndGivesItsIconToTheWindows)
{
    QGuiApplication::setWindowIcon({});
    tray.show();
    const QIcon icon = QGuiApplication::windowIcon();
    tray.show();
    EXPECT_EQ(QGuiApplication::windowIcon().cacheKey(), icon.cacheKey());
    EXPECT_EQ(icon.availableSizes().size(), 7);
    ASSERT_EQ(topLevel<QMenu>().size(), 1);
    std::vector<std::string> entries;
    for (const QAction* action : topLevel<QMenu>().first()->actions())
        entries.push_back(
            action->isSeparator() ? "-" : (action->isEnabled() ? "" : "disabled ") + action->text().toStdString());
    EXPECT_THAT(entries, ElementsAre("disabled Start Dictation", "-", "Settings...", "About Quillo", "-", "Quit"));
}

TEST_F(Tray, EntriesRunTheActionsOfTheMoment)
{
    tray.show();
    entry("Settings...")->trigger(); // none is set: nothing happens
    int settings = 0;
    int quit = 0;
    tray.setOnSettings([&] { ++settings; });
    tray.setOnQuit([&] { ++quit; });
    entry("Start Dictation")->trigger();
    entry("About Quillo")->trigger();
    EXPECT_EQ(settings + quit, 0);
    entry("Settings...")->trigger();
    EXPECT_EQ(settings, 1);
    entry("Quit")->trigger();
    EXPECT_EQ(quit, 1);
}

TEST_F(Tray, QuitWithoutActionEndsTheLoop)
{
    tray.show();
    QTimer::singleShot(0, entry("Quit"), &QAction::trigger);
    QTimer::singleShot(20'000, qApp, [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QApplication::exec(), 0);
}

// The file is kept in the tree, because a cross-build cannot draw it: it must not fall behind the code.
TEST(Icon, IsTheSameInTheFileForWindows)
{
    if (!QImageReader::supportedImageFormats().contains("ico"))
        GTEST_SKIP() << "this Qt does not read icon files";
    QImageReader reader(QUILLO_TEST_DATA_DIR "/../../src/app/windows/quillo.ico");
    std::vector<int> sizes;
    do {
        const QImage kept = reader.read().convertToFormat(QImage::Format_ARGB32);
        ASSERT_FALSE(kept.isNull()) << reader.errorString().toStdString();
        const QImage drawn = drawIcon(kept.width()).toImage().convertToFormat(QImage::Format_ARGB32);
        ASSERT_EQ(kept.size(), drawn.size());
        int different = 0;
        for (int y = 0; y < kept.height(); ++y)
            for (int x = 0; x < kept.width(); ++x) {
                const QColor one = kept.pixelColor(x, y);
                const QColor other = drawn.pixelColor(x, y);
                different += std::abs(one.alpha() - other.alpha()) + std::abs(one.red() - other.red()) > 24;
            }
        EXPECT_LE(different, kept.width() / 8) << kept.width(); // versions of Qt round edges differently
        sizes.push_back(kept.width());
    } while (reader.jumpToNextImage());
    EXPECT_THAT(sizes, ElementsAre(16, 24, 32, 48, 64, 128, 256));
}

} // namespace
} // namespace quillo
