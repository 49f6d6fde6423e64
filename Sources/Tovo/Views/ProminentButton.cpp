#include "Tovo/Views/ProminentButton.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace tovo {

namespace {

constexpr int horizontalPadding = 16;
constexpr int verticalPadding = 6;
constexpr double cornerRadius = 7;
constexpr int prominentHeight = 30;

} // namespace

ProminentButton::ProminentButton(QWidget* parent)
    : QPushButton(parent) {}

ProminentButton::ProminentButton(const QString& text, QWidget* parent)
    : QPushButton(text, parent) {}

void ProminentButton::setProminent(bool prominent) {
    if (prominent_ == prominent) {
        return;
    }
    prominent_ = prominent;
    updateGeometry();
    update();
}

QSize ProminentButton::sizeHint() const {
    if (!prominent_) {
        return QPushButton::sizeHint();
    }
    const QSize text = fontMetrics().size(Qt::TextShowMnemonic, this->text());
    return {text.width() + 2 * horizontalPadding,
            std::max(prominentHeight, text.height() + 2 * verticalPadding)};
}

QSize ProminentButton::minimumSizeHint() const {
    return prominent_ ? sizeHint() : QPushButton::minimumSizeHint();
}

void ProminentButton::paintEvent(QPaintEvent* event) {
    if (!prominent_) {
        QPushButton::paintEvent(event);
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath shape;
    shape.addRoundedRect(box, cornerRadius, cornerRadius);
    const QPalette& pal = palette();
    QColor label = TovoTheme::actionLabel();
    if (!isEnabled()) {
        painter.fillPath(shape, TovoTheme::primaryAt(pal, 0.12));
        label = TovoTheme::primaryAt(pal, 0.4);
    } else if (isDown()) {
        painter.fillPath(shape, TovoTheme::prominentAccent());
    } else {
        QLinearGradient fill(box.topLeft(), box.bottomRight());
        fill.setColorAt(0, TovoTheme::accent());
        fill.setColorAt(1, TovoTheme::accentEnd());
        painter.fillPath(shape, fill);
    }
    if (hasFocus()) {
        painter.setPen(QPen(TovoTheme::prominentAccent(), 2));
        painter.drawPath(shape);
    }
    painter.setPen(label);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextShowMnemonic, text());
}

} // namespace tovo
