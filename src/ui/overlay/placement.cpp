#include "ui/overlay/placement.h"

namespace quillo::ui {
namespace {

int part(int length, float fraction)
{
    return static_cast<int>(static_cast<float>(length) * fraction);
}

} // namespace

QPoint centredAt(const QRect& available, QSize size, float fx, float fy)
{
    return {
        available.x() + part(available.width(), fx) - size.width() / 2,
        available.y() + part(available.height(), fy) - size.height() / 2,
    };
}

} // namespace quillo::ui
