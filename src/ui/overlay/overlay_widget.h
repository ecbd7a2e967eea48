#pragma once

#include "ui/overlay/overlay_state.h"

#include <QColor>
#include <QWidget>

class QLabel;
class QPropertyAnimation;
class QTimer;

namespace quillo::ui {

/// The floating pill itself: a frameless, translucent window above all others, which paints its own rounded background.
///
/// Takes neither the keyboard focus nor the mouse: clicks reach the window below. Without a compositing window manager,
/// where nothing is translucent, its shape is cut out of the screen instead. User-interface thread only.
class OverlayWidget : public QWidget {
    Q_OBJECT

public:
    OverlayWidget();
    ~OverlayWidget() override;

    /// Centres the pill on the point at these fractions of the width and height of a screen's available area.
    void placeWithin(const QRect& available, float fx, float fy);

    /// Colours and decorations. Every state but Listening sets the level to 0.
    void setState(OverlayState state);

    /// Resizes the pill to the text: it is at least 200 pixels wide, and never becomes narrower again.
    void setText(const QString& text);

    /// Loudness of the recording, clamped to 0 to 100; shown while Listening. Repaints are merged, so levels may come
    /// faster than the screen can follow.
    void setLevel(int level);

    /// Window opacity, 0 to 1, that a fade-in ends at; applied at once.
    void setTargetOpacity(float opacity);

    /// Shows the pill within 200 ms. A fade-out that is under way is given up.
    void fadeIn();

    /// Lets the pill vanish within 200 ms and then hides it.
    void fadeOut();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void prepareFade(double from, double to);
    void cutShape();
    void paintRecording(QPainter& painter, const QRectF& pill) const;

    QLabel* label_;
    QTimer* pulseTimer_;
    QPropertyAnimation* fade_;
    OverlayState state_ = OverlayState::Idle;
    QColor background_;
    QColor accent_;
    int pulsePhase_ = 0; ///< 0 to 59, one pulse
    int level_ = 0;
    float targetOpacity_ = 0.9F;
    bool composited_ = true; ///< at the last fade-in
};

} // namespace quillo::ui
