#include "app/theme.h"
#include "app/tray_controller.h"
#include "support/top_level.h"
#include "ui/overlay/overlay_widget.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QTabWidget>

#include <gmock/gmock.h>

#include <algorithm>

namespace quillo {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> warnings;

void keepWarning(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        warnings.push_back(message.toStdString());
}

class Theme : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        QFont font("Segoe UI");
        font.setPointSize(10);
        QApplication::setFont(font);
        applyTheme(*qApp);
    }
    static void TearDownTestSuite() { qApp->setStyleSheet({}); }

    // A widget of this class that the sheet has been applied to.
    template<class Widget> static std::unique_ptr<Widget> polished(const char* variant = nullptr)
    {
        auto widget = std::make_unique<Widget>();
        if (variant)
            widget->setProperty("class", variant);
        widget->ensurePolished();
        return widget;
    }
};

template<class Widget> QColor textColor(const Widget& widget)
{
    return widget.palette().color(QPalette::Active, widget.foregroundRole());
}

// Faults are reported when the sheet is parsed, and when a rule is first used.
TEST_F(Theme, IsUnderstoodWithoutWarnings)
{
    warnings.clear();
    const auto before = qInstallMessageHandler(keepWarning);
    qApp->setStyleSheet(themeStyleSheet());
    QTabWidget tabs;
    tabs.addTab(new QLabel, "tab");
    QComboBox combo;
    QSpinBox spin;
    QCheckBox check;
    QRadioButton radio;
    QProgressBar progress;
    QSlider slider(Qt::Horizontal);
    QScrollBar vertical(Qt::Vertical);
    QScrollBar horizontal(Qt::Horizontal);
    QGroupBox group("group");
    QMenu menu;
    menu.addAction("entry");
    menu.addSeparator();
    QWidget* const widgets[] = {
        &tabs, &combo, combo.view(), &spin, &check, &radio, &progress, &slider, &vertical, &horizontal, &group, &menu};
    for (QWidget* widget : widgets)
        widget->grab();
    EXPECT_THAT(warnings, IsEmpty());

    tabs.setStyleSheet("QLabel { colour: red; }");
    tabs.grab();
    EXPECT_THAT(warnings, Not(IsEmpty())) << "a fault would have been seen";
    qInstallMessageHandler(before);
}

TEST_F(Theme, VariantsOfLabels)
{
    struct Case {
        const char* variant;
        QColor color;
        int pixels;
        bool bold;
    };
    for (const Case& c : {Case{nullptr, "#e8e8f0", 13, false}, Case{"secondary", "#9494a8", 12, false},
             Case{"heading", "#e8e8f0", 16, true}, Case{"section-title", "#e8e8f0", 14, true}}) {
        const auto label = polished<QLabel>(c.variant);
        SCOPED_TRACE(c.variant ? c.variant : "none");
        EXPECT_EQ(textColor(*label), c.color);
        EXPECT_EQ(label->font().pixelSize(), c.pixels);
        EXPECT_EQ(label->font().bold(), c.bold);
    }
}

// The middle of the lower edge, above the border, where no text is.
template<class Widget> QColor fill(Widget& widget)
{
    widget.resize(120, 40);
    return widget.grab().toImage().pixelColor(60, 36);
}

TEST_F(Theme, FillsOfWidgets)
{
    EXPECT_EQ(fill(*polished<QDialog>()), QColor("#1a1b2e"));
    EXPECT_EQ(fill(*polished<QMenu>()), QColor("#242538"));
    EXPECT_EQ(fill(*polished<QPushButton>()), QColor("#242538"));
    EXPECT_EQ(fill(*polished<QPushButton>("primary")), QColor("#7c6aef"));
    EXPECT_EQ(fill(*polished<QPushButton>("success")), QColor("#1a3a2a"));
    EXPECT_EQ(fill(*polished<QLineEdit>()), QColor("#242538"));

    const auto button = polished<QPushButton>("primary");
    button->setEnabled(false);
    EXPECT_EQ(fill(*button), QColor("#4a4070"));
    EXPECT_EQ(textColor(*polished<QPushButton>("danger")), QColor("#f87171"));

    QLineEdit field;
    field.setReadOnly(true);
    field.ensurePolished();
    EXPECT_EQ(fill(field), QColor("#1e1f32"));
    EXPECT_EQ(textColor(field), QColor("#9494a8"));
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

TEST_F(Theme, LevelMeterIsGreenThenRed)
{
    const auto meter = polished<QProgressBar>("vu-meter");
    meter->setTextVisible(false);
    meter->setValue(100);
    meter->resize(200, 16);
    const QImage image = meter->grab().toImage();
    EXPECT_EQ(image.height(), 18); // with its border
    EXPECT_EQ(image.pixelColor(60, 8), QColor("#4ade80"));
    EXPECT_GT(image.pixelColor(192, 8).red(), 240);
    EXPECT_LT(image.pixelColor(192, 8).green(), 140);
}

TEST_F(Theme, FitsOverTheSystemsStyle)
{
    const auto combo = polished<QComboBox>();
    combo->view()->ensurePolished();
    EXPECT_EQ(combo->style()->styleHint(QStyle::SH_ComboBox_Popup, nullptr, combo.get()), 0);
    EXPECT_EQ(combo->view()->palette().color(QPalette::Highlight), QColor("#7c6aef"));
    const QSlider slider(Qt::Horizontal);
    EXPECT_GE(slider.sizeHint().height(), 20);
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
