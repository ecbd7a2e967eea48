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

TEST_F(Tray, MenuHasItsEntriesInOrder)
{
    tray.show();
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

TEST_F(Tray, SecondShowChangesNothing)
{
    tray.show();
    const QMenu* const first = topLevel<QMenu>().value(0);
    const auto icon = QGuiApplication::windowIcon().cacheKey();
    tray.show();
    EXPECT_EQ(topLevel<QMenu>(), QList<QMenu*>{const_cast<QMenu*>(first)});
    EXPECT_EQ(QGuiApplication::windowIcon().cacheKey(), icon);
}

TEST_F(Tray, GivesItsIconToTheWindows)
{
    QGuiApplication::setWindowIcon({});
    tray.show();
    std::vector<int> sizes;
    for (const QSize& size : QGuiApplication::windowIcon().availableSizes())
        sizes.push_back(size.width());
    EXPECT_THAT(sizes, ElementsAre(16, 24, 32, 48, 64, 128, 256));
}

// Points on the grid of 32 by 32 at which the colour is sure at every size.
TEST(Icon, ShowsTheSamePictureAtEverySize)
{
    const QColor background("#7c6aef");
    const QColor microphone("#e8e8f0");
    for (const int size : {16, 32, 256}) {
        const QImage image = drawIcon(size).toImage();
        ASSERT_EQ(image.size(), QSize(size, size));
        const auto at = [&](double x, double y) {
            return image.pixelColor(static_cast<int>(x * size / 32), static_cast<int>(y * size / 32));
        };
        // How light a point is: 0 like the background, 1 like the microphone.
        const auto light = [&](double x, double y) {
            return (at(x, y).red() - background.red()) / double(microphone.red() - background.red());
        };
        SCOPED_TRACE(size);
        EXPECT_LT(at(0, 0).alpha(), 32);
        EXPECT_EQ(at(4, 15), background);
        EXPECT_EQ(at(27, 4), background);
        EXPECT_EQ(at(16, 12), microphone); // head
        EXPECT_EQ(at(13, 10), microphone);
        EXPECT_EQ(at(10, 8), background); // beside the head
        EXPECT_EQ(at(10, 30.5), background); // below the base
        EXPECT_GT(light(8, 18.1), 0.5); // holder, left
        EXPECT_GT(light(16, 25), 0.4); // holder, lowest point, and stand
        EXPECT_GT(light(14, 27), 0.4); // base
        EXPECT_EQ(at(10, 14), background); // between head and holder
    }
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
