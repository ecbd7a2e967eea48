#include "ui/settings/theme_overrides.h"

#include <QEvent>
#include <QHelpEvent>
#include <QToolTip>
#include <QWidget>

namespace quillo {

namespace {

class HeightKeeper final : public QObject {
public:
    HeightKeeper(QWidget* widget, int height)
        : QObject(widget)
        , height_(height)
    {
        widget->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::Polish && event->type() != QEvent::StyleChange)
            return false;
        watched->event(event); // here the style sheet sets its heights
        static_cast<QWidget*>(watched)->setFixedHeight(height_);
        return true;
    }

private:
    const int height_;
};

class ToolTipSeparator final : public QObject {
public:
    explicit ToolTipSeparator(QWidget* widget)
        : QObject(widget)
    {
        widget->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::ToolTip)
            return false;
        const auto* const widget = static_cast<QWidget*>(watched);
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), widget->toolTip(), widget->window());
        return true;
    }
};

} // namespace

void fixHeight(QWidget* widget, int height)
{
    widget->setFixedHeight(height);
    new HeightKeeper(widget, height);
}

void separateToolTip(QWidget* widget)
{
    new ToolTipSeparator(widget);
}

} // namespace quillo
