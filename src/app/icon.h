#pragma once

#include <QIcon>
#include <QPixmap>

namespace quillo {

/// The program's picture, a light microphone on a rounded purple square, drawn for this size.
/// User-interface thread.
/// @param size edge in pixels, greater than 0
QPixmap drawIcon(int size);

/// The same at every size that trays and title bars ask for: 16 to 256 pixels. User-interface thread.
QIcon programIcon();

} // namespace quillo
