#pragma once

#include <QString>

class QApplication;

namespace quillo {

/// The look of all windows, dark, as one Qt style sheet for the application object. Widgets choose a variant through
/// the dynamic property "class", set before they are first shown: labels "heading", "secondary" or "section-title",
/// buttons "primary", "danger" or "success", progress bars "vu-meter".
QString themeStyleSheet();

/// Gives the application the style sheet, and a base style under which it looks the same on every system. After the
/// font has been set. User-interface thread.
void applyTheme(QApplication& application);

} // namespace quillo
