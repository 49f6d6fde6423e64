#include "Tovo/Support/Qt/SymbolImage.hpp"

#include "Tovo/Support/SymbolIcons.hpp"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <string>

namespace tovo::SymbolImage {

namespace {

enum class Glyph { none, check, arrow, exclamation, cross, question };

enum class Shape {
    disc,
    ring,
    shield,
    refresh,
    drive,
    triangle,
    octagon,
    terminal,
    application,
    diskImage,
    magnifier
};

struct DrawnSymbol {
    std::string_view symbol;
    Glyph glyph;
    Shape shape;
};

constexpr DrawnSymbol drawnSymbols[] = {
    {"checkmark.circle.fill", Glyph::check, Shape::disc},
    {"arrow.right.circle.fill", Glyph::arrow, Shape::disc},
    {"exclamationmark.circle.fill", Glyph::exclamation, Shape::disc},
    {"xmark.circle.fill", Glyph::cross, Shape::disc},
    {"circle", Glyph::none, Shape::ring},
    {"arrow.clockwise", Glyph::none, Shape::refresh},
    {"checkmark.shield.fill", Glyph::check, Shape::shield},
    {"exclamationmark.shield.fill", Glyph::exclamation, Shape::shield},
    {"externaldrive.fill", Glyph::none, Shape::drive},
    {"externaldrive.badge.questionmark", Glyph::question, Shape::drive},
    {"exclamationmark.triangle.fill", Glyph::exclamation, Shape::triangle},
    {"xmark.octagon.fill", Glyph::cross, Shape::octagon},
    // What holds a disk: a shell, an application, a virtual machine (its disk
    // image), the file indexer.
    {"terminal.fill", Glyph::none, Shape::terminal},
    {"app.fill", Glyph::none, Shape::application},
    {"shippingbox.fill", Glyph::none, Shape::diskImage},
    {"magnifyingglass", Glyph::none, Shape::magnifier},
};

const DrawnSymbol* drawnSymbol(std::string_view symbol) {
    for (const DrawnSymbol& drawn : drawnSymbols) {
        if (drawn.symbol == symbol) {
            return &drawn;
        }
    }
    return nullptr;
}

void drawGlyph(QPainter& painter, Glyph glyph, const QRectF& box) {
    const double s = box.width();
    const QPointF o = box.topLeft();
    auto at = [&](double x, double y) { return o + QPointF(x * s, y * s); };
    QPen pen(Qt::white, s * 0.11, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    switch (glyph) {
    case Glyph::check: {
        QPainterPath path(at(0.30, 0.52));
        path.lineTo(at(0.44, 0.66));
        path.lineTo(at(0.70, 0.36));
        painter.drawPath(path);
        break;
    }
    case Glyph::arrow: {
        painter.drawLine(at(0.28, 0.5), at(0.70, 0.5));
        QPainterPath head(at(0.52, 0.32));
        head.lineTo(at(0.70, 0.5));
        head.lineTo(at(0.52, 0.68));
        painter.drawPath(head);
        break;
    }
    case Glyph::exclamation:
        painter.drawLine(at(0.5, 0.27), at(0.5, 0.56));
        painter.drawPoint(at(0.5, 0.72));
        break;
    case Glyph::cross:
        painter.drawLine(at(0.34, 0.34), at(0.66, 0.66));
        painter.drawLine(at(0.66, 0.34), at(0.34, 0.66));
        break;
    case Glyph::question: {
        // Drawn, not typed: a text glyph would load another font at start-up.
        QPainterPath hook(at(0.36, 0.40));
        hook.arcTo(QRectF(at(0.36, 0.24), at(0.64, 0.50)), 180, -250);
        hook.quadTo(at(0.5, 0.50), at(0.5, 0.58));
        painter.drawPath(hook);
        painter.drawPoint(at(0.5, 0.74));
        break;
    }
    case Glyph::none:
        break;
    }
}

QPainterPath shieldPath(const QRectF& box) {
    const double w = box.width();
    const double h = box.height();
    const QPointF o = box.topLeft();
    QPainterPath path(o + QPointF(w * 0.5, h * 0.04));
    path.cubicTo(o + QPointF(w * 0.66, h * 0.14), o + QPointF(w * 0.80, h * 0.16),
                 o + QPointF(w * 0.90, h * 0.17));
    path.cubicTo(o + QPointF(w * 0.92, h * 0.55), o + QPointF(w * 0.80, h * 0.80),
                 o + QPointF(w * 0.5, h * 0.96));
    path.cubicTo(o + QPointF(w * 0.20, h * 0.80), o + QPointF(w * 0.08, h * 0.55),
                 o + QPointF(w * 0.10, h * 0.17));
    path.cubicTo(o + QPointF(w * 0.20, h * 0.16), o + QPointF(w * 0.34, h * 0.14),
                 o + QPointF(w * 0.5, h * 0.04));
    path.closeSubpath();
    return path;
}

// A drive lying flat, with a slot and a status light; a glyph becomes a badge in the
// lower right corner.
void drawDrive(QPainter& painter, const QRectF& box, const QColor& tint, Glyph badge) {
    const double s = box.width();
    const QRectF body(s * 0.06, s * 0.30, s * 0.88, s * 0.42);
    painter.setPen(Qt::NoPen);
    painter.setBrush(tint);
    painter.drawRoundedRect(body, s * 0.09, s * 0.09);
    painter.setPen(QPen(Qt::white, std::max(1.0, s * 0.06), Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(s * 0.18, s * 0.56), QPointF(s * 0.56, s * 0.56));
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPointF(s * 0.78, s * 0.56), s * 0.05, s * 0.05);
    if (badge == Glyph::none) {
        return;
    }
    const QRectF badgeBox(s * 0.52, s * 0.52, s * 0.48, s * 0.48);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.drawEllipse(badgeBox.adjusted(-s * 0.04, -s * 0.04, s * 0.04, s * 0.04));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setBrush(tint);
    painter.drawEllipse(badgeBox);
    drawGlyph(painter, badge, badgeBox);
}

// A rounded window with a prompt and a cursor in it, cut out of the tint.
void drawTerminal(QPainter& painter, const QRectF& box, const QColor& tint) {
    const double s = box.width();
    painter.setPen(Qt::NoPen);
    painter.setBrush(tint);
    painter.drawRoundedRect(QRectF(s * 0.08, s * 0.16, s * 0.84, s * 0.68), s * 0.12, s * 0.12);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    QPen pen(Qt::black, std::max(1.2, s * 0.08), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    QPainterPath prompt(QPointF(s * 0.24, s * 0.36));
    prompt.lineTo(QPointF(s * 0.38, s * 0.50));
    prompt.lineTo(QPointF(s * 0.24, s * 0.64));
    painter.drawPath(prompt);
    painter.drawLine(QPointF(s * 0.48, s * 0.64), QPointF(s * 0.72, s * 0.64));
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
}

// A rounded square with four tiles cut out: any application.
void drawApplication(QPainter& painter, const QRectF& box, const QColor& tint) {
    const double s = box.width();
    painter.setPen(Qt::NoPen);
    painter.setBrush(tint);
    painter.drawRoundedRect(QRectF(s * 0.1, s * 0.1, s * 0.8, s * 0.8), s * 0.2, s * 0.2);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.setBrush(Qt::black);
    for (const double x : {0.27, 0.53}) {
        for (const double y : {0.27, 0.53}) {
            painter.drawRoundedRect(QRectF(s * x, s * y, s * 0.2, s * 0.2), s * 0.05, s * 0.05);
        }
    }
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
}

// A sheet of paper with a folded corner, a disc on it: a disk image.
void drawDiskImage(QPainter& painter, const QRectF& box, const QColor& tint) {
    const double s = box.width();
    QPainterPath sheet(QPointF(s * 0.18, s * 0.06));
    sheet.lineTo(QPointF(s * 0.60, s * 0.06));
    sheet.lineTo(QPointF(s * 0.82, s * 0.28));
    sheet.lineTo(QPointF(s * 0.82, s * 0.94));
    sheet.lineTo(QPointF(s * 0.18, s * 0.94));
    sheet.closeSubpath();
    painter.setPen(Qt::NoPen);
    painter.setBrush(tint);
    painter.drawPath(sheet);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.setBrush(Qt::black);
    const QPointF centre(s * 0.5, s * 0.60);
    painter.drawEllipse(centre, s * 0.22, s * 0.22);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setBrush(tint);
    painter.drawEllipse(centre, s * 0.16, s * 0.16);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.drawEllipse(centre, s * 0.05, s * 0.05);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void drawMagnifier(QPainter& painter, const QRectF& box, const QColor& tint) {
    const double s = box.width();
    painter.setPen(QPen(tint, std::max(1.4, s * 0.12), Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(s * 0.42, s * 0.42), s * 0.24, s * 0.24);
    painter.drawLine(QPointF(s * 0.60, s * 0.60), QPointF(s * 0.86, s * 0.86));
}

QPainterPath octagonPath(const QRectF& box) {
    const double s = box.width();
    const double a = s * 0.06;
    const double b = s * 0.33;
    QPainterPath path(QPointF(b, a));
    path.lineTo(QPointF(s - b, a));
    path.lineTo(QPointF(s - a, b));
    path.lineTo(QPointF(s - a, s - b));
    path.lineTo(QPointF(s - b, s - a));
    path.lineTo(QPointF(b, s - a));
    path.lineTo(QPointF(a, s - b));
    path.lineTo(QPointF(a, b));
    path.closeSubpath();
    return path;
}

QPainterPath trianglePath(const QRectF& box) {
    const double s = box.width();
    QPainterPath path;
    path.moveTo(QPointF(s * 0.5, s * 0.08));
    path.lineTo(QPointF(s * 0.95, s * 0.88));
    path.lineTo(QPointF(s * 0.05, s * 0.88));
    path.closeSubpath();
    return path;
}

QPixmap drawn(Glyph glyph, Shape shape, int size, const QColor& tint, qreal scale) {
    QPixmap pixmap(QSize(size, size) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box(0, 0, size, size);
    const QRectF disc = box.adjusted(size * 0.06, size * 0.06, -size * 0.06, -size * 0.06);
    if (shape == Shape::refresh) {
        // An open circle whose end turns into an arrowhead, drawn in the tint.
        const double s = size;
        const QRectF ring = box.adjusted(s * 0.18, s * 0.18, -s * 0.18, -s * 0.18);
        painter.setPen(QPen(tint, std::max(1.4, s * 0.10), Qt::SolidLine, Qt::RoundCap));
        painter.setBrush(Qt::NoBrush);
        painter.drawArc(ring, 100 * 16, 290 * 16);
        QPainterPath head(QPointF(s * 0.50, s * 0.05));
        head.lineTo(QPointF(s * 0.72, s * 0.18));
        head.lineTo(QPointF(s * 0.50, s * 0.33));
        head.closeSubpath();
        painter.setPen(Qt::NoPen);
        painter.setBrush(tint);
        painter.drawPath(head);
    } else if (shape == Shape::drive) {
        drawDrive(painter, box, tint, glyph);
    } else if (shape == Shape::terminal) {
        drawTerminal(painter, box, tint);
    } else if (shape == Shape::application) {
        drawApplication(painter, box, tint);
    } else if (shape == Shape::diskImage) {
        drawDiskImage(painter, box, tint);
    } else if (shape == Shape::magnifier) {
        drawMagnifier(painter, box, tint);
    } else if (shape == Shape::triangle || shape == Shape::octagon) {
        painter.setPen(QPen(tint, size * 0.08, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(tint);
        painter.drawPath(shape == Shape::triangle ? trianglePath(box) : octagonPath(box));
        drawGlyph(painter, glyph,
                  shape == Shape::triangle ? box.adjusted(0, size * 0.06, 0, size * 0.06) : box);
    } else if (shape == Shape::shield) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(tint);
        painter.drawPath(shieldPath(box));
        drawGlyph(painter, glyph, box.adjusted(0, -size * 0.02, 0, -size * 0.02));
    } else if (shape == Shape::disc) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(tint);
        painter.drawEllipse(disc);
        drawGlyph(painter, glyph, box);
    } else {
        painter.setPen(QPen(tint, std::max(1.2, size * 0.08)));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(disc);
    }
    return pixmap;
}

} // namespace

bool isDrawn(std::string_view symbol) {
    return drawnSymbol(symbol) != nullptr;
}

QIcon themeIcon(std::string_view symbol) {
    const std::string name(themeIconName(symbol));
    return QIcon::fromTheme(QString::fromStdString(name));
}

QPixmap pixmap(std::string_view symbol, int size, const QColor& tint, qreal scale) {
    if (const DrawnSymbol* symbolDrawn = drawnSymbol(symbol)) {
        return drawn(symbolDrawn->glyph, symbolDrawn->shape, size, tint, scale);
    }
    const QIcon icon = themeIcon(symbol);
    if (!icon.isNull()) {
        QPixmap themed = icon.pixmap(QSize(size, size), scale);
        if (!themed.isNull()) {
            return themed;
        }
    }
    return drawn(Glyph::question, Shape::disc, size, tint, scale);
}

} // namespace tovo::SymbolImage
