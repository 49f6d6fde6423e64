#include "Tovo/Support/Qt/SymbolImage.hpp"

#include "Tovo/Support/SymbolIcons.hpp"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <string>

namespace tovo::SymbolImage {

namespace {

enum class Glyph { none, check, arrow, exclamation, cross, question };

struct DrawnSymbol {
    std::string_view symbol;
    Glyph glyph;
    bool filled;
};

constexpr DrawnSymbol drawnSymbols[] = {
    {"checkmark.circle.fill", Glyph::check, true},
    {"arrow.right.circle.fill", Glyph::arrow, true},
    {"exclamationmark.circle.fill", Glyph::exclamation, true},
    {"xmark.circle.fill", Glyph::cross, true},
    {"circle", Glyph::none, false},
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
        QFont font = painter.font();
        font.setPixelSize(static_cast<int>(s * 0.62));
        font.setBold(true);
        painter.setFont(font);
        painter.drawText(box, Qt::AlignCenter, QStringLiteral("?"));
        break;
    }
    case Glyph::none:
        break;
    }
}

QPixmap drawn(Glyph glyph, bool filled, int size, const QColor& tint, qreal scale) {
    QPixmap pixmap(QSize(size, size) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box(0, 0, size, size);
    const QRectF disc = box.adjusted(size * 0.06, size * 0.06, -size * 0.06, -size * 0.06);
    if (filled) {
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
        return drawn(symbolDrawn->glyph, symbolDrawn->filled, size, tint, scale);
    }
    const QIcon icon = themeIcon(symbol);
    if (!icon.isNull()) {
        QPixmap themed = icon.pixmap(QSize(size, size), scale);
        if (!themed.isNull()) {
            return themed;
        }
    }
    return drawn(Glyph::question, true, size, tint, scale);
}

} // namespace tovo::SymbolImage
