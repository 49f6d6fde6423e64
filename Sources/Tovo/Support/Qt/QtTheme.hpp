#pragma once

#include "Tovo/Support/PresentationColors.hpp"
#include "Tovo/Support/TovoTheme.hpp"

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QRectF>

class QPainter;

namespace tovo::TovoTheme {

QColor qColor(ThemeColor color);
QColor accent();
QColor accentEnd();
QColor prominentAccent();
QColor actionLabel();
/// Orange that reads well on the palette's window colour.
QColor systemOrange(const QPalette& palette);
/// The system orange at 10 %: the tint behind items the user must handle by hand.
QColor manualBackground(const QPalette& palette);
QColor symbolColor(SymbolColor color, const QPalette& palette);
/// Primary text is the palette's; secondary text is the same colour made fainter,
/// but never below 4.5:1 on any surface of the theme.
QColor textColor(TextColor color, const QPalette& palette);

/// What text is drawn on. Each is the opaque colour where it is hardest to read: the
/// window's glow at its strongest shows through the translucent ones.
enum class Surface {
    window,
    windowGlow,
    card,
    neutralRow,
    manualRow,
    restingDiskCard,
    selectedDiskCard,
    countBadge,
};
inline constexpr Surface allSurfaces[] = {
    Surface::window,           Surface::windowGlow, Surface::card,
    Surface::neutralRow,       Surface::manualRow,  Surface::restingDiskCard,
    Surface::selectedDiskCard, Surface::countBadge};
QColor surfaceColor(Surface surface, const QPalette& palette);
/// The translucent base colour of cards, and the tints drawn over them.
QColor cardFill(const QPalette& palette);
QColor neutralRowFill(const QPalette& palette);
QColor restingDiskCardFill(const QPalette& palette);
QColor selectedDiskCardFill();
QColor countBadgeFill(const QPalette& palette);

/// The label on a filled button: the theme's dark label or white, whichever reads
/// better on `fill`.
QColor labelOn(const QColor& fill);
/// The destructive button's fill, resting and pressed.
QColor destructiveFill();
QColor destructivePressedFill();
/// The palette's text colour at `opacity`.
QColor primaryAt(const QPalette& palette, double opacity);
bool isDark(const QPalette& palette);

/// Text styles, sized from the application font. Every distinct style costs a
/// font load at start-up, so the ramp keeps to four: the desktop's own size
/// (which is already a small UI size, so it serves for subheadlines too), a
/// larger bold title, a semibold headline and a smaller caption.
QFont titleFont(const QFont& base);
QFont headlineFont(const QFont& base);
QFont subheadlineFont(const QFont& base);
QFont captionFont(const QFont& base);

/// The card every section sits on: a translucent rounded rectangle (16 px corners)
/// with a 1 px outline in the text colour at 8 %.
void paintCard(QPainter& painter, const QRectF& rect, const QPalette& palette);

/// The window colour with the accent glowing from the top trailing corner
/// (14 % at the corner, clear from 360 px out).
void paintWindowBackground(QPainter& painter, const QRectF& rect, const QPalette& palette,
                           Qt::LayoutDirection direction);

/// The Fusion palettes that --demo-light and --demo-dark force.
QPalette lightPalette();
QPalette darkPalette();

} // namespace tovo::TovoTheme
