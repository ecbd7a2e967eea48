#include "app/icon.h"
#include "app/theme.h"
#include "app/tray_controller.h"

#include "support/top_level.h"
#include "support/widgets.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillo {
namespace {

using testing::ElementsAre;

class Theme : public testing::Test {
protected:
    static void SetUpTestSuite() { applyTheme(*qApp); }
    static void TearDownTestSuite() { qApp->setStyleSheet({}); }
};

// A change of it has to be wanted, and looked at.
TEST_F(Theme, IsTheSheetThatWasDesigned)
{
    const QByteArray sheet = qApp->styleSheet().toUtf8();
    EXPECT_EQ(sheet.size(), 10'937);
    EXPECT_EQ(QCryptographicHash::hash(sheet, QCryptographicHash::Sha256).toHex().toStdString(),
        "d2d9820d0b0047ed906c56364d437938d3a039772309209ce330fc5b42cef15a");
}

TEST_F(Theme, FitsOverTheSystemsStyle)
{
    const QStyle& style = *QApplication::style();
    const QStyleOptionComboBox list;
    EXPECT_EQ(style.styleHint(QStyle::SH_ComboBox_Popup, &list), 0);
    EXPECT_EQ(style.styleHint(QStyle::SH_DialogButtonBox_ButtonsHaveIcons), 0);
    EXPECT_GE(QSlider(Qt::Horizontal).sizeHint().height(), 20);
}

class Tray : public Theme {
protected:
    Tray()
    {
        QGuiApplication::setWindowIcon({});
        tray.show();
    }

    static QMenu& menu() { return *test::topLevel<QMenu>().first(); }
    static QAction* entry(const QString& text)
    {
        for (QAction* action : menu().actions())
            if (action->text() == text)
                return action;
        throw std::out_of_range(text.toStdString());
    }

    TrayController tray;
};

TEST_F(Tray, ShowsItsMenuOnceAndGivesItsIconToTheWindows)
{
    const QIcon icon = QGuiApplication::windowIcon();
    tray.show();
    EXPECT_EQ(QGuiApplication::windowIcon().cacheKey(), icon.cacheKey());
    EXPECT_EQ(icon.availableSizes().size(), 7);
    ASSERT_EQ(test::topLevel<QMenu>().size(), 1);
    std::vector<QString> entries;
    for (const QAction* action : menu().actions())
        entries.push_back(action->isSeparator() ? "-" : (action->isEnabled() ? "" : "disabled ") + action->text());
    EXPECT_THAT(entries, ElementsAre("disabled Start Dictation", "-", "Settings...", "About Quillo", "-", "Quit"));
}

TEST_F(Tray, GreysTheLabelOfItsMenuOut)
{
    menu().resize(menu().sizeHint());
    const QImage image = menu().grab().toImage();
    const auto brightest = [&](const char* text) {
        int value = 0;
        const QRect row = menu().actionGeometry(entry(text));
        for (int y = row.top(); y <= row.bottom(); ++y)
            for (int x = row.left() + 4; x <= row.right() - 4; ++x)
                value = std::max(value, image.pixelColor(x, y).red());
        return value;
    };
    EXPECT_LE(brightest("Start Dictation"), 0x5a);
    EXPECT_GT(brightest("Quit"), 0xc0);
}

TEST_F(Tray, EntriesRunTheActionsOfTheMoment)
{
    entry("Settings...")->trigger(); // none is set: nothing happens
    QTimer::singleShot(0, entry("Quit"), &QAction::trigger); // ends the loop then
    QTimer::singleShot(20'000, &menu(), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QApplication::exec(), 0);

    std::vector<std::string> run;
    tray.setOnSettings([&] { run.emplace_back("settings"); });
    tray.setOnQuit([&] { run.emplace_back("quit"); });
    for (QAction* action : menu().actions())
        action->trigger();
    EXPECT_THAT(run, ElementsAre("settings", "quit"));
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
