#pragma once

namespace tovo {

/// A colour in sRGB, components 0 to 1.
struct ThemeColor {
    double red;
    double green;
    double blue;
    double opacity;
};

/// The palette every view shares.
namespace TovoTheme {

inline constexpr ThemeColor tovoAccent{0.96, 0.39, 0.12, 1.0};
inline constexpr ThemeColor tovoAccentEnd{1.0, 0.58, 0.16, 1.0};
inline constexpr ThemeColor tovoProminentAccent{0.72, 0.2, 0.04, 1.0};
inline constexpr ThemeColor tovoActionLabel{0.0, 0.0, 0.0, 0.84};
/// The system orange at 10 %: the tint of items the user must handle by hand.
inline constexpr double tovoManualBackgroundOpacity = 0.1;
inline constexpr double cardCornerRadius = 16;
inline constexpr double cardOutlineOpacity = 0.08;

} // namespace TovoTheme

} // namespace tovo
