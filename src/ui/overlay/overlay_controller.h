#pragma once

#include "ui/overlay/overlay_state.h"

#include <memory>
#include <string>

namespace quillo {

/// The overlay as the engine drives it: creates the pill when it is first needed and lets it vanish after a success.
///
/// User-interface thread only. Until show or placeAt has created the pill, the other operations do nothing, except that
/// the opacity is remembered.
class OverlayController {
public:
    OverlayController();
    ~OverlayController();
    OverlayController(const OverlayController&) = delete;
    OverlayController& operator=(const OverlayController&) = delete;

    /// Fades the pill in, within 200 ms. A success shown before no longer hides it.
    void show();

    /// Centres the pill on a point of the primary screen, given as fractions of its available area: (0.5, 0.1) is the
    /// middle, one tenth down. Does not show it.
    void placeAt(float fx, float fy);

    /// Pasted hides the pill by itself: it stays 750 ms and fades out within another 200.
    void setState(OverlayState state);

    /// @param text UTF-8
    void setText(const std::string& text);

    /// The text "✓ Pasted" and the state Pasted.
    void showPasted();

    /// Paints the present state at once, for when the thread is about to be busy.
    void paint();

    /// Loudness of the recording, clamped to 0 to 100.
    void setLevel(int level);

    /// Opacity of the faded-in pill, 0 to 1, initially 0.9; applied at once to one that exists.
    void setOpacity(float opacity);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace quillo
