#include "ui/overlay/overlay_widget.h"

#include "platform/compositing.h"

#include <QBitmap>
#include <QLabel>
#include <QPainter>
#include <QPropertyAnimation>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace quillo::ui {
namespace {

constexpr int pillHeight = 56;
constexpr int pillWidth = 200;
constexpr double pillRadius = 20;
constexpr double outlineWidth = 1.5;
constexpr int pulseInterval = 33; // ms
constexpr int pulsePhases = 60;
constexpr int fadeDuration = 200; // ms
constexpr int maxLevel = 100;
constexpr QColor recordingColor(0x7c, 0x6a, 0xef);

struct Colors {
    QColor background;
    QColor accent;
};

Colors colorsOf(OverlayState state)
{
    switch (state) {
    case OverlayState::Listening:
        return {{0x1e, 0x19, 0x3c, 240}, recordingColor};
    case OverlayState::Pasted:
        return {{0x1a, 0x3a, 0x2a, 240}, {0x4a, 0xde, 0x80}};
    case OverlayState::Error:
        return {{0x2a, 0x15, 0x15, 240}, {0xf8, 0x71, 0x71}};
    case OverlayState::Idle:
    case OverlayState::Processing:
        break;
    }
    return {{0x1a, 0x1b, 0x2e, 230}, {0x36, 0x37, 0x50}};
}

QRectF pillIn(const QRect& window)
{
    return QRectF(window).adjusted(1, 1, -1, -1);
}

} // namespace

OverlayWidget::OverlayWidget()
    : QWidget(nullptr,
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
            | Qt::WindowTransparentForInput | Qt::X11BypassWindowManagerHint)
    , label_(new QLabel(this))
    , pulseTimer_(new QTimer(this))
    , fade_(new QPropertyAnimation(this, "windowOpacity", this))
    , background_(colorsOf(state_).background)
    , accent_(colorsOf(state_).accent)
{
    setObjectName("overlay");
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFixedHeight(pillHeight);
    setMinimumWidth(pillWidth);
    resize(minimumSize()); // the first placement already needs the size

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 10, 16, 10);
    label_->setObjectName("overlayText");
    label_->setStyleSheet("color: #e8e8f0; font-size: 14px; font-weight: 600; background: transparent;");
    label_->setWordWrap(true);
    layout->addWidget(label_);

    pulseTimer_->setInterval(pulseInterval);
    connect(pulseTimer_, &QTimer::timeout, this, [this] {
        pulsePhase_ = (pulsePhase_ + 1) % pulsePhases;
        update();
    });

    fade_->setDuration(fadeDuration);
    // Some window systems show a window that began invisible only after it has painted again.
    connect(fade_, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
}

OverlayWidget::~OverlayWidget() = default;

void OverlayWidget::placeWithin(const QRect& available, float fx, float fy)
{
    const auto part = [](int length, float fraction) {
        return static_cast<int>(static_cast<float>(length) * fraction);
    };
    move(available.x() + part(available.width(), fx) - width() / 2,
        available.y() + part(available.height(), fy) - height() / 2);
}

void OverlayWidget::setState(OverlayState state)
{
    state_ = state;
    const Colors colors = colorsOf(state);
    background_ = colors.background;
    accent_ = colors.accent;
    if (state == OverlayState::Listening) {
        pulseTimer_->start();
    } else {
        pulseTimer_->stop();
        level_ = 0;
    }
    raise(); // no window manager keeps it above the windows that came to the top meanwhile
    update();
}

void OverlayWidget::setText(const QString& text)
{
    label_->setText(text);
    adjustSize();
    if (width() >= pillWidth)
        setMinimumWidth(width());
    else
        setFixedWidth(pillWidth);
    cutShape();
}

void OverlayWidget::setLevel(int level)
{
    level_ = std::clamp(level, 0, maxLevel);
    update();
}

void OverlayWidget::setTargetOpacity(float opacity)
{
    targetOpacity_ = opacity;
    setWindowOpacity(opacity);
}

void OverlayWidget::fadeIn()
{
    prepareFade(0, targetOpacity_);
    setWindowOpacity(0); // otherwise the first picture is the one of the last time
    composited_ = platform::isCompositing();
    cutShape();
    show();
    raise();
    fade_->start();
}

void OverlayWidget::fadeOut()
{
    prepareFade(windowOpacity(), 0);
    connect(fade_, &QAbstractAnimation::finished, this, &QWidget::hide, Qt::SingleShotConnection);
    fade_->start();
}

void OverlayWidget::prepareFade(double from, double to)
{
    fade_->stop();
    disconnect(fade_, &QAbstractAnimation::finished, this, &QWidget::hide);
    fade_->setStartValue(from);
    fade_->setEndValue(to);
}

void OverlayWidget::cutShape()
{
    if (composited_) {
        clearMask();
        return;
    }
    QBitmap shape(size());
    shape.clear();
    QPainter painter(&shape);
    painter.setPen(QPen(Qt::color1, outlineWidth));
    painter.setBrush(Qt::color1);
    painter.drawRoundedRect(pillIn(rect()), pillRadius, pillRadius);
    painter.end();
    setMask(shape);
}

void OverlayWidget::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF pill = pillIn(rect());
    painter.setBrush(background_);
    painter.setPen(QPen(accent_, outlineWidth));
    painter.drawRoundedRect(pill, pillRadius, pillRadius);
    if (state_ == OverlayState::Listening)
        paintRecording(painter, pill);
}

void OverlayWidget::paintRecording(QPainter& painter, const QRectF& pill) const
{
    QColor dot = recordingColor;
    dot.setAlphaF(0.5F + 0.5F * std::sin(static_cast<float>(pulsePhase_) * 3.14159F / (pulsePhases / 2.0F)));
    painter.setPen(Qt::NoPen);
    painter.setBrush(dot);
    painter.drawEllipse(QPointF(pill.right() - 16, pill.center().y()), 5, 5);
    if (level_ > 0) {
        const double width = (pill.width() - 20) * level_ / maxLevel;
        painter.setBrush(recordingColor);
        painter.drawRoundedRect(QRectF(pill.left() + 10, pill.bottom() - 5, width, 3), 1.5, 1.5);
    }
}

} // namespace quillo::ui
