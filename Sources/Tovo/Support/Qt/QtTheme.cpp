#include "Tovo/Support/Qt/QtTheme.hpp"

#include "Tovo/Support/Contrast.hpp"
#include "Tovo/Support/Qt/WindowGlow.hpp"

#include <QPainter>
#include <QPainterPath>

#include <vector>

namespace tovo::TovoTheme {

namespace {

constexpr double windowGlowOpacity = 0.14;
constexpr double windowGlowInnerRadius = 20;
constexpr double windowGlowOuterRadius = 360;
constexpr double preferredSecondaryOpacity = 0.62;
constexpr double neutralRowOpacity = 0.035;
constexpr double restingDiskCardOpacity = 0.035;
constexpr double selectedDiskCardOpacity = 0.13;
constexpr double countBadgeOpacity = 0.08;

Rgb rgb(const QColor& color) {
    return {color.redF(), color.greenF(), color.blueF()};
}

QColor fromRgb(Rgb color) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue));
}

// A translucent colour over an opaque one.
QColor over(const QColor& top, const QColor& bottom) {
    return fromRgb(Contrast::over(rgb(top), top.alphaF(), rgb(bottom)));
}

std::vector<Rgb> surfaceColors(const QPalette& palette) {
    std::vector<Rgb> backgrounds;
    for (const Surface surface : allSurfaces) {
        backgrounds.push_back(rgb(surfaceColor(surface, palette)));
    }
    return backgrounds;
}

double secondaryOpacity(const QPalette& palette) {
    // Computed once per palette: labels ask for it by the dozen.
    static QRgb cachedWindow = 0;
    static QRgb cachedText = 0;
    static QRgb cachedBase = 0;
    static double cached = -1;
    const QRgb window = palette.color(QPalette::Window).rgba();
    const QRgb text = palette.color(QPalette::WindowText).rgba();
    const QRgb base = palette.color(QPalette::Base).rgba();
    if (cached < 0 || window != cachedWindow || text != cachedText || base != cachedBase) {
        cached = Contrast::readableOpacity(rgb(palette.color(QPalette::WindowText)),
                                           surfaceColors(palette), preferredSecondaryOpacity);
        cachedWindow = window;
        cachedText = text;
        cachedBase = base;
    }
    return cached;
}

} // namespace

QColor qColor(ThemeColor color) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(color.opacity));
}

QColor accent() {
    return qColor(tovoAccent);
}

QColor accentEnd() {
    return qColor(tovoAccentEnd);
}

QColor prominentAccent() {
    return qColor(tovoProminentAccent);
}

QColor actionLabel() {
    return qColor(tovoActionLabel);
}

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightnessF() < 0.5;
}

QColor systemOrange(const QPalette& palette) {
    return isDark(palette) ? QColor(255, 159, 10) : QColor(230, 126, 0);
}

QColor manualBackground(const QPalette& palette) {
    QColor color = systemOrange(palette);
    color.setAlphaF(static_cast<float>(tovoManualBackgroundOpacity));
    return color;
}

QColor symbolColor(SymbolColor color, const QPalette& palette) {
    const bool dark = isDark(palette);
    switch (color) {
    case SymbolColor::green:
        return dark ? QColor(48, 209, 88) : QColor(40, 160, 70);
    case SymbolColor::orange:
        return systemOrange(palette);
    case SymbolColor::red:
        return dark ? QColor(255, 69, 58) : QColor(215, 40, 40);
    case SymbolColor::accent:
        return accent();
    case SymbolColor::secondary:
        break;
    }
    return textColor(TextColor::secondary, palette);
}

QColor textColor(TextColor color, const QPalette& palette) {
    switch (color) {
    case TextColor::primary:
        return palette.color(QPalette::WindowText);
    case TextColor::secondary:
        return primaryAt(palette, secondaryOpacity(palette));
    case TextColor::caution:
        break;
    }
    return fromRgb(Contrast::readableTint(rgb(systemOrange(palette)),
                                          rgb(palette.color(QPalette::WindowText)),
                                          surfaceColors(palette)));
}

QColor cardFill(const QPalette& palette) {
    // The translucent material: the base colour, letting the glow behind show through.
    QColor fill = palette.color(QPalette::Base);
    fill.setAlphaF(isDark(palette) ? 0.55F : 0.72F);
    return fill;
}

QColor neutralRowFill(const QPalette& palette) {
    return primaryAt(palette, neutralRowOpacity);
}

QColor restingDiskCardFill(const QPalette& palette) {
    return primaryAt(palette, restingDiskCardOpacity);
}

QColor selectedDiskCardFill() {
    QColor fill = accent();
    fill.setAlphaF(static_cast<float>(selectedDiskCardOpacity));
    return fill;
}

QColor countBadgeFill(const QPalette& palette) {
    return primaryAt(palette, countBadgeOpacity);
}

QColor surfaceColor(Surface surface, const QPalette& palette) {
    const QColor window = palette.color(QPalette::Window);
    QColor glowing = accent();
    glowing.setAlphaF(static_cast<float>(windowGlowOpacity));
    const QColor glow = over(glowing, window);
    const QColor card = over(cardFill(palette), glow);
    switch (surface) {
    case Surface::window:
        return window;
    case Surface::windowGlow:
        return glow;
    case Surface::card:
        return card;
    case Surface::neutralRow:
        return over(neutralRowFill(palette), card);
    case Surface::manualRow:
        return over(manualBackground(palette), card);
    case Surface::restingDiskCard: {
        // Hovered, the tint doubles.
        QColor hovered = restingDiskCardFill(palette);
        hovered.setAlphaF(hovered.alphaF() * 2);
        return over(hovered, glow);
    }
    case Surface::selectedDiskCard:
        return over(selectedDiskCardFill(), glow);
    case Surface::countBadge:
        return over(countBadgeFill(palette), glow);
    }
    return window;
}

QColor labelOn(const QColor& fill) {
    const Contrast::Label dark{rgb(actionLabel()), actionLabel().alphaF()};
    const Contrast::Label light{{1, 1, 1}, 1};
    const Contrast::Label chosen = Contrast::betterLabel(dark, light, rgb(fill));
    QColor label = fromRgb(chosen.colour);
    label.setAlphaF(static_cast<float>(chosen.opacity));
    return label;
}

QColor destructiveFill() {
    return {192, 28, 40};
}

QColor destructivePressedFill() {
    return {160, 22, 34};
}

QColor primaryAt(const QPalette& palette, double opacity) {
    QColor color = palette.color(QPalette::WindowText);
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

QFont titleFont(const QFont& base) {
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 1.55);
    font.setWeight(QFont::Bold);
    return font;
}

QFont headlineFont(const QFont& base) {
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 1.08);
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont subheadlineFont(const QFont& base) {
    return base;
}

QFont captionFont(const QFont& base) {
    QFont font = base;
    font.setPointSizeF(base.pointSizeF() * 0.85);
    return font;
}

void paintCard(QPainter& painter, const QRectF& rect, const QPalette& palette) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF outline = rect.adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(outline, cardCornerRadius, cardCornerRadius);
    painter.fillPath(path, cardFill(palette));
    painter.setPen(QPen(primaryAt(palette, cardOutlineOpacity), 1.0));
    painter.drawPath(path);
    painter.restore();
}

void paintWindowBackground(QPainter& painter, const QRectF& rect, const QPalette& palette,
                           Qt::LayoutDirection direction) {
    const WindowGlow glow{palette.color(QPalette::Window),
                          accent(),
                          windowGlowOpacity,
                          windowGlowInnerRadius,
                          windowGlowOuterRadius,
                          direction == Qt::RightToLeft};
    const qreal scale = painter.device()->devicePixelRatioF();
    // One window, one glow: a single cached tile covers every repaint.
    static WindowGlow cachedGlow;
    static qreal cachedScale = 0;
    static QImage tile;
    if (tile.isNull() || !(cachedGlow == glow) || cachedScale != scale) {
        // At half resolution, doubled when drawn: the glow changes by about one
        // colour level every 17 px, so the blocks cannot be seen, and the tile
        // costs a quarter of the work and memory.
        tile = glow.tile(scale / 2);
        cachedGlow = glow;
        cachedScale = scale;
    }
    painter.fillRect(rect, glow.window);
    const double side = windowGlowOuterRadius;
    const QPointF origin = glow.mirrored ? rect.topLeft() : rect.topRight() - QPointF(side, 0);
    painter.drawImage(QRectF(origin, QSizeF(side, side)), tile);
}

QPalette lightPalette() {
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(246, 245, 244));
    palette.setColor(QPalette::WindowText, QColor(28, 28, 30));
    palette.setColor(QPalette::Base, QColor(255, 255, 255));
    palette.setColor(QPalette::AlternateBase, QColor(240, 240, 240));
    palette.setColor(QPalette::Text, QColor(28, 28, 30));
    palette.setColor(QPalette::Button, QColor(236, 235, 234));
    palette.setColor(QPalette::ButtonText, QColor(28, 28, 30));
    palette.setColor(QPalette::ToolTipBase, QColor(255, 255, 240));
    palette.setColor(QPalette::ToolTipText, QColor(28, 28, 30));
    palette.setColor(QPalette::PlaceholderText, QColor(120, 120, 120));
    palette.setColor(QPalette::Highlight, accent());
    palette.setColor(QPalette::HighlightedText, QColor(255, 255, 255));
    palette.setColor(QPalette::Link, prominentAccent());
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(150, 150, 150));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(150, 150, 150));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(150, 150, 150));
    return palette;
}

QPalette darkPalette() {
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(36, 36, 38));
    palette.setColor(QPalette::WindowText, QColor(242, 242, 247));
    palette.setColor(QPalette::Base, QColor(48, 48, 52));
    palette.setColor(QPalette::AlternateBase, QColor(56, 56, 60));
    palette.setColor(QPalette::Text, QColor(242, 242, 247));
    palette.setColor(QPalette::Button, QColor(58, 58, 62));
    palette.setColor(QPalette::ButtonText, QColor(242, 242, 247));
    palette.setColor(QPalette::ToolTipBase, QColor(58, 58, 62));
    palette.setColor(QPalette::ToolTipText, QColor(242, 242, 247));
    palette.setColor(QPalette::PlaceholderText, QColor(140, 140, 145));
    palette.setColor(QPalette::Highlight, accent());
    palette.setColor(QPalette::HighlightedText, QColor(0, 0, 0));
    palette.setColor(QPalette::Link, accentEnd());
    palette.setColor(QPalette::Light, QColor(80, 80, 86));
    palette.setColor(QPalette::Midlight, QColor(66, 66, 70));
    palette.setColor(QPalette::Mid, QColor(44, 44, 48));
    palette.setColor(QPalette::Dark, QColor(26, 26, 28));
    palette.setColor(QPalette::Shadow, QColor(0, 0, 0));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(120, 120, 126));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(120, 120, 126));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(120, 120, 126));
    return palette;
}

} // namespace tovo::TovoTheme
