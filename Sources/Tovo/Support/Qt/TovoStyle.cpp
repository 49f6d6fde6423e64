#include "Tovo/Support/Qt/TovoStyle.hpp"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QStyleFactory>
#include <QStyleOptionSlider>
#include <QWidget>

#include <algorithm>

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

QRect TovoStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option,
                                SubControl part, const QWidget* widget) const {
    const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
    if (control != CC_ScrollBar || bar == nullptr) {
        return QProxyStyle::subControlRect(control, option, part, widget);
    }
    // No arrow buttons: the groove is the whole bar, and the slider moves along it.
    const bool horizontal = bar->orientation == Qt::Horizontal;
    const QRect groove = bar->rect;
    const int length = horizontal ? groove.width() : groove.height();
    const int range = bar->maximum - bar->minimum;
    int sliderLength = length;
    if (range > 0) {
        const qint64 visible = bar->pageStep;
        sliderLength = static_cast<int>(qint64(length) * visible / (range + visible));
        sliderLength = std::clamp(sliderLength,
                                  proxy()->pixelMetric(PM_ScrollBarSliderMin, bar, widget), length);
    }
    const int start = QStyle::sliderPositionFromValue(
        bar->minimum, bar->maximum, bar->sliderPosition, length - sliderLength, bar->upsideDown);
    const auto along = [&](int from, int size) {
        return horizontal ? QRect(groove.left() + from, groove.top(), size, groove.height())
                          : QRect(groove.left(), groove.top() + from, groove.width(), size);
    };
    switch (part) {
    case SC_ScrollBarAddLine:
    case SC_ScrollBarSubLine:
        return {};
    case SC_ScrollBarGroove:
        return groove;
    case SC_ScrollBarSlider:
        return visualRect(bar->direction, groove, along(start, sliderLength));
    case SC_ScrollBarSubPage:
        return visualRect(bar->direction, groove, along(0, start));
    case SC_ScrollBarAddPage:
        return visualRect(bar->direction, groove,
                          along(start + sliderLength, length - start - sliderLength));
    default:
        return QProxyStyle::subControlRect(control, option, part, widget);
    }
}

void TovoStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                   QPainter* painter, const QWidget* widget) const {
    const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
    if (control != CC_ScrollBar || bar == nullptr) {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        return;
    }
    // A thin rounded thumb in the text colour on nothing, stronger under the pointer.
    const QRect thumb = subControlRect(control, option, SC_ScrollBarSlider, widget);
    const bool active = (bar->state & State_MouseOver) != 0 || (bar->state & State_Sunken) != 0;
    QColor ink = bar->palette.color(QPalette::WindowText);
    ink.setAlphaF(active ? 0.5F : 0.3F);
    const int inset = active ? 2 : 3;
    const QRectF shape = QRectF(thumb).adjusted(inset, inset, -inset, -inset);
    const double radius = std::min(shape.width(), shape.height()) / 2;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(ink);
    painter->drawRoundedRect(shape, radius, radius);
    painter->restore();
}

int TovoStyle::pixelMetric(PixelMetric metric, const QStyleOption* option,
                           const QWidget* widget) const {
    if (metric == PM_ScrollBarExtent) {
        return 10;
    }
    return QProxyStyle::pixelMetric(metric, option, widget);
}

} // namespace tovo
