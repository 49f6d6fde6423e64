#pragma once

#include <span>

namespace tovo {

/// An opaque colour in sRGB, components 0 to 1.
struct Rgb {
    double red;
    double green;
    double blue;

    bool operator==(const Rgb&) const = default;
};

/// Legibility of text on its background, as the web content guidelines measure it.
namespace Contrast {

/// Body text must reach 4.5:1 against what it is drawn on.
inline constexpr double minimumTextRatio = 4.5;

double relativeLuminance(Rgb colour);
/// From 1 (no contrast) to 21 (black on white); symmetric.
double ratio(Rgb first, Rgb second);
/// `top` at `opacity` painted over the opaque `bottom`.
Rgb over(Rgb top, double opacity, Rgb bottom);

/// The least opacity, `preferred` or more, at which `text` painted over every one of
/// `backgrounds` reaches `minimum`; 1 when even full strength does not.
double readableOpacity(Rgb text, std::span<const Rgb> backgrounds, double preferred,
                       double minimum = minimumTextRatio);

/// `tint`, mixed with as little of `ink` (the text colour) as it takes to reach
/// `minimum` on every one of `backgrounds`; `ink` itself when no mix does.
Rgb readableTint(Rgb tint, Rgb ink, std::span<const Rgb> backgrounds,
                 double minimum = minimumTextRatio);

/// Of two label colours (each at its own opacity) the one that reads better on `fill`.
struct Label {
    Rgb colour;
    double opacity;
};
Label betterLabel(Label first, Label second, Rgb fill);

} // namespace Contrast

} // namespace tovo
