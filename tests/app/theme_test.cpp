#include "app/theme.h"
#include "app/tray_controller.h"
#include "support/top_level.h"
#include "ui/overlay/overlay_widget.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QLabel>
#include <QMenu>
#include <QSlider>
#include <QStyleOption>

#include <gtest/gtest.h>

#include <algorithm>

namespace quillo {
namespace {

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
    QLabel heading;
    heading.setProperty("class", "heading");
    heading.ensurePolished();
    EXPECT_EQ(heading.font().pixelSize(), 16);
    EXPECT_TRUE(heading.font().bold());
}

TEST_F(Theme, TrayMenuGreysItsLabelOut)
{
    TrayController tray;
    tray.show();
    QMenu* const menu = test::topLevel<QMenu>().first();
    menu->resize(menu->sizeHint());
    const QImage image = menu->grab().toImage();
    const auto brightest = [&](QAction* entry) {
        int value = 0;
        const QRect row = menu->actionGeometry(entry);
        for (int y = row.top(); y <= row.bottom(); ++y)
            for (int x = row.left() + 4; x <= row.right() - 4; ++x)
                value = std::max(value, image.pixelColor(x, y).red());
        return value;
    };
    EXPECT_LE(brightest(menu->actions().first()), 0x5a);
    EXPECT_GT(brightest(menu->actions().last()), 0xc0);
}

TEST_F(Theme, FitsOverTheSystemsStyle)
{
    const QStyle& style = *QApplication::style();
    const QStyleOptionComboBox list;
    EXPECT_EQ(style.styleHint(QStyle::SH_ComboBox_Popup, &list), 0);
    EXPECT_EQ(style.styleHint(QStyle::SH_DialogButtonBox_ButtonsHaveIcons), 0);
    EXPECT_GE(QSlider(Qt::Horizontal).sizeHint().height(), 20);
}

TEST_F(Theme, LeavesTheOverlaysCornersTransparent)
{
    ui::OverlayWidget overlay;
    overlay.ensurePolished();
    QImage image(overlay.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    overlay.render(&image);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image.pixelColor(199, 55).alpha(), 0);
}

} // namespace
} // namespace quillo
