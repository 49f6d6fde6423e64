#include "Tovo/Views/DisclosureButton.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"

#include <QPainter>
#include <QPainterPath>

namespace tovo {

namespace {

constexpr int side = 24;

} // namespace

DisclosureButton::DisclosureButton(std::string showLabel, std::string hideLabel, QWidget* parent)
    : QAbstractButton(parent)
    , showLabel_(std::move(showLabel))
    , hideLabel_(std::move(hideLabel)) {
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(side, side);
    updateLabel();
}

QSize DisclosureButton::sizeHint() const {
    return {side, side};
}

void DisclosureButton::checkStateSet() {
    QAbstractButton::checkStateSet();
    updateLabel();
}

void DisclosureButton::nextCheckState() {
    QAbstractButton::nextCheckState();
    updateLabel();
}

void DisclosureButton::updateLabel() {
    const QString label = QString::fromStdString(isChecked() ? hideLabel_ : showLabel_);
    setAccessibleName(label);
    setToolTip(label);
    update();
}

void DisclosureButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
    if (isDown() || underMouse()) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(TovoTheme::primaryAt(pal, isDown() ? 0.14 : 0.08));
        painter.drawRoundedRect(box, 6, 6);
    }
    if (hasFocus()) {
        painter.setPen(QPen(pal.color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(box, 6, 6);
    }
    // A chevron: ">" closed, "v" open.
    const QPointF c = box.center();
    const double arm = 3.5;
    QPainterPath chevron;
    if (isChecked()) {
        chevron.moveTo(c + QPointF(-arm, -arm / 2));
        chevron.lineTo(c + QPointF(0, arm / 2));
        chevron.lineTo(c + QPointF(arm, -arm / 2));
    } else {
        const double lead = layoutDirection() == Qt::RightToLeft ? -1 : 1;
        chevron.moveTo(c + QPointF(-arm / 2 * lead, -arm));
        chevron.lineTo(c + QPointF(arm / 2 * lead, 0));
        chevron.lineTo(c + QPointF(-arm / 2 * lead, arm));
    }
    const QColor ink = isEnabled() ? TovoTheme::textColor(TextColor::secondary, pal)
                                   : pal.color(QPalette::Disabled, QPalette::WindowText);
    painter.setPen(QPen(ink, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(chevron);
}

} // namespace tovo
