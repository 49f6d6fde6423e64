#include "Tovo/Support/Qt/TovoStyle.hpp"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QStyleFactory>
#include <QWidget>

namespace tovo {

namespace {

constexpr int chevronSize = 16;

// Two chevrons pointing right, or down when `vertical`.
QPixmap doubleChevron(bool vertical, const QColor& colour) {
    QPixmap pixmap(chevronSize, chevronSize);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    if (vertical) {
        painter.translate(chevronSize, 0);
        painter.rotate(90);
    }
    painter.setPen(QPen(colour, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    for (const double left : {4.0, 8.5}) {
        QPainterPath chevron(QPointF(left, 4.5));
        chevron.lineTo(QPointF(left + 3.5, 8));
        chevron.lineTo(QPointF(left, 11.5));
        painter.drawPath(chevron);
    }
    return pixmap;
}

} // namespace

TovoStyle::TovoStyle()
    : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

QIcon TovoStyle::standardIcon(StandardPixmap icon, const QStyleOption* option,
                              const QWidget* widget) const {
    if (icon == SP_ToolBarHorizontalExtensionButton || icon == SP_ToolBarVerticalExtensionButton) {
        const QPalette palette = widget != nullptr ? widget->palette() : standardPalette();
        return QIcon(doubleChevron(icon == SP_ToolBarVerticalExtensionButton,
                                   palette.color(QPalette::ButtonText)));
    }
    return QProxyStyle::standardIcon(icon, option, widget);
}

} // namespace tovo
