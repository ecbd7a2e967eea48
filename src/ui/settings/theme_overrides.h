#pragma once

class QWidget;

namespace quillo {

/// Where a widget must look other than the style sheets around it would have it. User-interface thread.

/// Like QWidget::setFixedHeight, which a style sheet with a height for this kind of widget takes back.
void fixHeight(QWidget* widget, int height);

/// Shows the widget's tool tip in the look of the window's. It would inherit the style of the widgets around it
/// otherwise, such as a transparent background.
void separateToolTip(QWidget* widget);

} // namespace quillo
