#include "ui/overlay/overlay_controller.h"
#include "ui/overlay/overlay_widget.h"

#include "support/top_level.h"
#include "support/widgets.h"

#include <cstdlib>
#include <tuple>

namespace quillo {
namespace {

using ui::OverlayWidget;

QColor pixel(OverlayWidget& widget, int x, int y)
{
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    widget.render(&image, {}, {}, QWidget::DrawChildren);
    return image.pixelColor(x, y);
}

// Storing with premultiplied alpha costs a little precision.
bool alike(const QColor& a, const QColor& b, int tolerance = 2)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
        && std::abs(a.blue() - b.blue()) <= tolerance && std::abs(a.alpha() - b.alpha()) <= tolerance;
}

TEST(Overlay, ColoursBelongToTheState)
{
    const QColor neutral(0x1a, 0x1b, 0x2e, 230);
    const std::tuple<int, QColor, QColor> looks[] = {{0, neutral, "#363750"},
        {1, QColor(0x1e, 0x19, 0x3c, 240), "#7c6aef"}, {2, neutral, "#363750"},
        {3, QColor(0x1a, 0x3a, 0x2a, 240), "#4ade80"}, {4, QColor(0x2a, 0x15, 0x15, 240), "#f87171"},
        {77, neutral, "#363750"}};
    OverlayWidget widget;
    for (auto [state, background, edge] : looks) {
        SCOPED_TRACE(state);
        widget.setState(OverlayState::Error);
        widget.setState(static_cast<OverlayState>(state));
        EXPECT_PRED2([](auto a, auto b) { return alike(a, b); }, pixel(widget, 100, 6), background);
        edge.setAlpha(191); // three quarters of the outermost row are covered by the outline
        EXPECT_PRED2([](auto a, auto b) { return alike(a, b); }, pixel(widget, 100, 0), edge);
        EXPECT_EQ(pixel(widget, 0, 0).alpha(), 0);
        const bool dot = !alike(pixel(widget, 183, 28), background);
        EXPECT_EQ(dot, state == 1);
    }
}

// How far the level bar reaches to the right of its left end, in pixels; it lies 3 to 5 pixels above the lower edge.
int barWidth(OverlayWidget& widget)
{
    int end = 20; // right of the outline
    while (alike(pixel(widget, end, 51), "#7c6aef", 6))
        ++end;
    return end == 20 ? 0 : end - 11;
}

TEST(Overlay, LevelBarIsProportionalAndTheDotPulses)
{
    OverlayWidget widget;
    widget.setState(OverlayState::Listening);
    for (const auto& [level, width] : {std::pair(-3, 0), {0, 0}, {10, 17}, {50, 89}, {150, 178}}) {
        widget.setLevel(level);
        EXPECT_NEAR(barWidth(widget), width, 2) << "level " << level;
    }
    widget.setState(OverlayState::Listening);
    EXPECT_NEAR(barWidth(widget), 178, 2);
    widget.setState(OverlayState::Processing);
    EXPECT_EQ(barWidth(widget), 0);
    widget.setState(OverlayState::Listening);
    EXPECT_EQ(barWidth(widget), 0) << "the next recording starts in silence";
    const QColor dot = pixel(widget, 183, 28);
    EXPECT_TRUE(test::waitFor([&] { return !alike(pixel(widget, 183, 28), dot, 20); }));
}

TEST(Overlay, PillGrowsWithTheTextAndDoesNotShrink)
{
    OverlayWidget widget;
    EXPECT_EQ(widget.size(), QSize(200, 56));
    widget.setText("Listening...");
    EXPECT_EQ(widget.size(), QSize(200, 56));
    widget.setText(QString("a text of very many words ").repeated(10));
    const int grown = widget.width();
    EXPECT_GT(grown, 200);
    widget.setText("short");
    EXPECT_EQ(widget.size(), QSize(grown, 56));
}

TEST(Overlay, IsOutOfTheUsersWayInTheMiddleOfTheAvailableArea)
{
    OverlayWidget widget;
    EXPECT_EQ(widget.windowFlags(),
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
            | Qt::WindowTransparentForInput | Qt::X11BypassWindowManagerHint);
    EXPECT_TRUE(widget.testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_TRUE(widget.testAttribute(Qt::WA_ShowWithoutActivating));
    const std::tuple<QRect, int, QPoint> places[] = {{{0, 0, 1920, 1080}, 200, {860, 80}},
        {{1920, 27, 1366, 741}, 200, {2503, 73}}, // a second screen under a panel
        {{-1280, -200, 1280, 1024}, 233, {-756, -126}}}; // halves are rounded down
    for (const auto& [available, width, expected] : places) {
        widget.resize(width, 56);
        widget.placeWithin(available, 0.5F, 0.1F);
        EXPECT_EQ(widget.pos(), expected);
    }
}

class OverlayControl : public testing::Test {
protected:
    // What the engine does when a recording opens.
    void open()
    {
        controller.placeAt(0.5F, 0.1F);
        controller.show();
        controller.setState(OverlayState::Listening);
        controller.setText("Listening...");
    }
    static OverlayWidget* pill() { return test::topLevel<OverlayWidget>().value(0); }
    static double opacity() { return pill()->windowOpacity(); }
    static bool fadesTo(double value)
    {
        const auto* const fade = pill()->findChild<QPropertyAnimation*>();
        return test::waitFor([&] { return fade->state() == QAbstractAnimation::Stopped; })
            && std::abs(opacity() - value) < 0.01;
    }

    OverlayController controller;
};

TEST_F(OverlayControl, DoesNothingUntilNeededAndFadesInCentredWithItsOpacity)
{
    controller.setState(OverlayState::Listening);
    controller.setText("text");
    controller.showPasted();
    controller.setLevel(50);
    controller.paint();
    controller.setOpacity(0.5F);
    EXPECT_EQ(pill(), nullptr);
    controller.placeAt(0.5F, 0.1F);
    ASSERT_NE(pill(), nullptr);
    EXPECT_FALSE(pill()->isVisible());

    open();
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect place = pill()->geometry();
    EXPECT_TRUE(pill()->isVisible());
    EXPECT_EQ(place.x() + place.width() / 2, available.x() + available.width() / 2);
    EXPECT_EQ(place.y() + place.height() / 2, available.y() + available.height() / 10);
    EXPECT_EQ(test::labelText(*pill(), "overlayText"), "Listening...");
    EXPECT_LT(opacity(), 0.1);
    EXPECT_TRUE(fadesTo(0.5));
    controller.setOpacity(0.7F);
    EXPECT_NEAR(opacity(), 0.7, 0.01);
    controller.show();
    EXPECT_LT(opacity(), 0.1);
    EXPECT_TRUE(fadesTo(0.7));
}

TEST_F(OverlayControl, SuccessHidesByItselfUnlessSomethingNewIsShown)
{
    open();
    auto& timer = test::find<QTimer>(*pill(), "hideTimer");
    EXPECT_FALSE(timer.isActive());
    controller.showPasted();
    EXPECT_EQ(test::labelText(*pill(), "overlayText"), "\u2713 Pasted");
    EXPECT_TRUE(timer.isActive());
    controller.setState(OverlayState::Error);
    EXPECT_FALSE(timer.isActive());
    controller.showPasted();
    controller.show();
    EXPECT_FALSE(timer.isActive());

    ASSERT_TRUE(fadesTo(0.9));
    controller.showPasted();
    EXPECT_EQ(timer.interval(), 750);
    timer.start(0);
    ASSERT_TRUE(test::waitFor([] { return opacity() < 0.85; }));
    EXPECT_FALSE(timer.isActive());
    open(); // during the fade-out
    EXPECT_TRUE(fadesTo(0.9));
    EXPECT_TRUE(pill()->isVisible());

    timer.start(0);
    ASSERT_TRUE(test::waitFor([] { return !pill()->isVisible(); }));
    EXPECT_NEAR(opacity(), 0, 0.01);
    open();
    EXPECT_TRUE(fadesTo(0.9));
    EXPECT_TRUE(pill()->isVisible());
}

} // namespace
} // namespace quillo
