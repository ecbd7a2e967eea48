#pragma once

#include <QString>

class QLabel;
class QWidget;

/// How the settings window looks where the theme does not say it. User-interface thread.
namespace quillo {

namespace color {

inline constexpr auto text = "#e8e8f0";
inline constexpr auto secondaryText = "#9494a8";
inline constexpr auto faintText = "#7a7a90";
inline constexpr auto white = "#ffffff";

inline constexpr auto window = "#1a1b2e";
inline constexpr auto card = "#242538";
inline constexpr auto border = "#363750";
inline constexpr auto borderHover = "#4a4b66";
inline constexpr auto rowBorder = "#2a2b40";
inline constexpr auto rowSelected = "#2d2e4a";
inline constexpr auto rowAlternate = "#1e1f32";
inline constexpr auto neutralBackground = "#2a2b3e";

inline constexpr auto accent = "#7c6aef";
inline constexpr auto accentHover = "#6b58de";
inline constexpr auto accentPressed = "#5a48cd";
inline constexpr auto accentBackground = "#1e2040";
inline constexpr auto information = "#60a5fa";

inline constexpr auto success = "#4ade80";
inline constexpr auto successBackground = "#1a3a2a";
inline constexpr auto successHover = "#1f4a32";
inline constexpr auto successBorder = "#2a5a3a";

inline constexpr auto warning = "#fbbf24";
inline constexpr auto warningBackground = "#3a3020";
inline constexpr auto warningBorder = "#5a4a20";

inline constexpr auto error = "#f87171";
inline constexpr auto errorBackground = "#2a1515";
inline constexpr auto errorBorder = "#5a2020";
inline constexpr auto errorDisabled = "#5a3535";
inline constexpr auto errorDisabledBorder = "#3a1818";

inline constexpr auto danger = "#7f1d1d";
inline constexpr auto dangerHover = "#991b1b";
inline constexpr auto dangerText = "#fca5a5";
inline constexpr auto stop = "#e04040";
inline constexpr auto stopHover = "#d03030";

} // namespace color

/// The style of a line of small text.
QString textStyle(const char* color, int pixels = 11);

/// The style of a button for what a page or a card is there for.
QString primaryButtonStyle(int verticalPadding, int pixels);

/// A label in one of the theme's classes: "heading" or "secondary".
QLabel* makeLabel(const char* themeClass, const QString& text = {});

/// Like QWidget::setFixedHeight, which a style sheet with a height for this kind of widget takes back.
void fixHeight(QWidget* widget, int height);

/// Shows the widget's tool tip in the look of the window's. It would inherit the style of the widgets around it
/// otherwise, such as a transparent background.
void separateToolTip(QWidget* widget);

} // namespace quillo
