#include "app/icon.h"

#include <QPainter>

namespace quillo {
namespace {

constexpr int sizes[] = {16, 24, 32, 48, 64, 128, 256};
constexpr QColor backgroundColor(0x7c, 0x6a, 0xef);
constexpr QColor microphoneColor(0xe8, 0xe8, 0xf0);

} // namespace

QPixmap drawIcon(int size)
{
    // Laid out on a grid of 32 by 32.
    const float k = static_cast<float>(size) * 0.03125F;
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);

    painter.setPen(Qt::NoPen);
    painter.setBrush(backgroundColor);
    painter.drawRoundedRect(QRectF(0, 0, size, size), 6 * k, 6 * k);

    painter.setBrush(microphoneColor);
    painter.drawRoundedRect(QRectF(12 * k, 5 * k, 8 * k, 14 * k), 4 * k, 4 * k); // head

    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(microphoneColor, 1.8F * k, Qt::SolidLine, Qt::RoundCap, Qt::BevelJoin));
    painter.drawArc(QRectF(8 * k, 11 * k, 16 * k, 14 * k), 0, -180 * 16); // holder
    painter.drawLine(QPointF(16 * k, 25 * k), QPointF(16 * k, 27.5F * k)); // stand
    painter.drawLine(QPointF(12 * k, 27.5F * k), QPointF(20 * k, 27.5F * k)); // base
    return pixmap;
}

QIcon programIcon()
{
    QIcon icon;
    for (const int size : sizes)
        icon.addPixmap(drawIcon(size), QIcon::Normal, QIcon::Off);
    return icon;
}

} // namespace quillo
