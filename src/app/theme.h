#pragma once

class QApplication;

namespace quillo {

/// Gives the application the dark look of all windows: a style sheet, and a base style under which it looks the same on
/// every system. After the font has been set. User-interface thread.
///
/// Widgets choose a variant through the dynamic property "class", set before they are first shown: labels "heading",
/// "secondary" or "section-title", buttons "primary", "danger" or "success", progress bars "vu-meter".
void applyTheme(QApplication& application);

} // namespace quillo
