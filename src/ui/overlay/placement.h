#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace quillo::ui {

/// Where the top-left corner of something of this size goes, so that its centre lies at the given fractions of the
/// available area's width and height. In the area's own coordinates, which need not begin at (0, 0).
QPoint centredAt(const QRect& available, QSize size, float fx, float fy);

} // namespace quillo::ui
