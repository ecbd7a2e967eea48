#include "ui/settings/look.h"

#include <QEvent>
#include <QHelpEvent>
#include <QLabel>
#include <QToolTip>

#include <functional>
#include <utility>

namespace quillo {

namespace {

/// Has events of a widget handled otherwise.
class EventFilter final : public QObject {
public:
    EventFilter(QWidget* widget, std::function<bool(QEvent*)> handle)
        : QObject(widget)
        , handle_(std::move(handle))
    {
        widget->installEventFilter(this);
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override { return handle_(event); }

private:
    const std::function<bool(QEvent*)> handle_;
};

} // namespace

QString textStyle(const char* color, int pixels)
{
    return QString("color: %1; font-size: %2px; background: transparent;").arg(color).arg(pixels);
}

QString primaryButtonStyle(int verticalPadding, int pixels)
{
    return QString("QPushButton { background-color: %1; color: %2; border: none; "
                   " border-radius: 6px; padding: %5px 20px; font-size: %6px; font-weight: bold; }"
                   "QPushButton:hover { background-color: %3; }"
                   "QPushButton:pressed { background-color: %4; }")
        .arg(color::accent, color::white, color::accentHover, color::accentPressed)
        .arg(verticalPadding)
        .arg(pixels);
}

QLabel* makeLabel(const char* themeClass, const QString& text)
{
    auto* const label = new QLabel(text);
    label->setProperty("class", themeClass);
    return label;
}

void fixHeight(QWidget* widget, int height)
{
    widget->setFixedHeight(height);
    new EventFilter(widget, [widget, height](QEvent* event) {
        if (event->type() != QEvent::Polish && event->type() != QEvent::StyleChange)
            return false;
        static_cast<QObject*>(widget)->event(event); // here the style sheet sets its heights
        widget->setFixedHeight(height);
        return true;
    });
}

void separateToolTip(QWidget* widget)
{
    new EventFilter(
        widget,
        [widget](QEvent* event) {
            if (event->type() != QEvent::ToolTip)
                return false;
            QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), widget->toolTip(), widget->window());
            return true;
        });
}

} // namespace quillo
