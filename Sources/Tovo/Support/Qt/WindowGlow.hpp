#pragma once

#include <QColor>
#include <QImage>

namespace tovo {

/// The accent glow behind the window's top trailing corner, composed once over
/// the window colour into an opaque square tile, so that every repaint is a plain
/// copy. Qt's own radial gradient would recompute every pixel on every paint,
/// spread over helper threads.
struct WindowGlow {
    QColor window;          ///< the colour under the glow
    QColor accent;          ///< the glow's colour, at full strength
    double opacity = 0;     ///< the glow's opacity at the corner
    double innerRadius = 0; ///< full strength up to here
    double outerRadius = 0; ///< clear from here on; also the tile's side
    bool mirrored = false;  ///< right to left: the corner is on the left

    /// The glow's opacity at `distance` from the corner: full up to the inner
    /// radius, falling linearly to nothing at the outer one.
    double opacityAt(double distance) const;
    /// The tile, `outerRadius` logical pixels square at `scale` device pixels each;
    /// it goes with its corner on the window's top trailing corner.
    QImage tile(qreal scale) const;

    bool operator==(const WindowGlow&) const = default;
};

} // namespace tovo
