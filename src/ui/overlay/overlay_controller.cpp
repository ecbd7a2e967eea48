#include "ui/overlay/overlay_controller.h"

#include "ui/overlay/overlay_widget.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTimer>

#include <chrono>

namespace quillo {
namespace {

constexpr std::chrono::milliseconds pastedDuration(750);

} // namespace

struct OverlayController::Impl {
    ui::OverlayWidget& neededWidget();

    float opacity = 0.9F;
    std::unique_ptr<ui::OverlayWidget> widget;
    QTimer* hideTimer = nullptr; // belongs to the widget that it fades out
};

ui::OverlayWidget& OverlayController::Impl::neededWidget()
{
    if (!widget) {
        widget = std::make_unique<ui::OverlayWidget>();
        widget->setTargetOpacity(opacity);
        hideTimer = new QTimer(widget.get());
        hideTimer->setObjectName("hideTimer");
        hideTimer->setSingleShot(true);
        QObject::connect(hideTimer, &QTimer::timeout, widget.get(), &ui::OverlayWidget::fadeOut);
    }
    return *widget;
}

OverlayController::OverlayController()
    : impl_(std::make_unique<Impl>())
{
}

OverlayController::~OverlayController() = default;

void OverlayController::show()
{
    impl_->neededWidget().fadeIn();
    impl_->hideTimer->stop();
}

void OverlayController::placeAt(float fx, float fy)
{
    ui::OverlayWidget& widget = impl_->neededWidget();
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        widget.placeWithin(screen->availableGeometry(), fx, fy);
}

void OverlayController::setState(OverlayState state)
{
    if (!impl_->widget)
        return;
    impl_->widget->setState(state);
    if (state == OverlayState::Pasted)
        impl_->hideTimer->start(pastedDuration);
    else
        impl_->hideTimer->stop(); // there is something new to see
}

void OverlayController::setText(const std::string& text)
{
    if (impl_->widget)
        impl_->widget->setText(QString::fromStdString(text));
}

void OverlayController::showPasted()
{
    setText("✓ Pasted");
    setState(OverlayState::Pasted);
}

void OverlayController::paint()
{
    if (impl_->widget)
        impl_->widget->repaint();
}

void OverlayController::setLevel(int level)
{
    if (impl_->widget)
        impl_->widget->setLevel(level);
}

void OverlayController::setOpacity(float opacity)
{
    impl_->opacity = opacity;
    if (impl_->widget)
        impl_->widget->setTargetOpacity(opacity);
}

} // namespace quillo
