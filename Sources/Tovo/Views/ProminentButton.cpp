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
constexpr int buttonHeight = 30;

} // namespace

ProminentButton::ProminentButton(QWidget* parent)
    : ProminentButton(QString(), parent) {}

ProminentButton::ProminentButton(const QString& text, QWidget* parent)
    : QPushButton(text, parent) {
    setAttribute(Qt::WA_Hover);
    // Return presses the focused button, in the window as in a sheet.
    setAutoDefault(true);
}

void ProminentButton::setRole(ButtonRole role) {
    if (role_ == role) {
        return;
    }
    role_ = role;
    update();
}

void ProminentButton::setProminent(bool prominent) {
    setRole(prominent ? ButtonRole::suggested : ButtonRole::plain);
}

QSize ProminentButton::sizeHint() const {
    const QSize text = fontMetrics().size(Qt::TextShowMnemonic, this->text());
    return {text.width() + 2 * horizontalPadding,
            std::max(buttonHeight, text.height() + 2 * verticalPadding)};
}

QSize ProminentButton::minimumSizeHint() const {
    return sizeHint();
}

void ProminentButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath shape;
    shape.addRoundedRect(box, cornerRadius, cornerRadius);
    const QPalette& pal = palette();
    const bool hovered = underMouse() && !isDown();

    QColor label;
    if (!isEnabled()) {
        painter.fillPath(shape, TovoTheme::primaryAt(pal, 0.08));
        label = pal.color(QPalette::Disabled, QPalette::ButtonText);
    } else if (role_ == ButtonRole::plain) {
        QColor fill = pal.color(QPalette::Button);
        if (isDown()) {
            fill = fill.darker(112);
        } else if (hovered) {
            fill = TovoTheme::isDark(pal) ? fill.lighter(115) : fill.darker(104);
        }
        painter.fillPath(shape, fill);
        label = pal.color(QPalette::ButtonText);
    } else if (role_ == ButtonRole::destructive) {
        const QColor fill =
            isDown() ? TovoTheme::destructivePressedFill() : TovoTheme::destructiveFill();
        painter.fillPath(shape, hovered ? fill.lighter(110) : fill);
        label = TovoTheme::labelOn(fill);
    } else if (isDown()) {
        painter.fillPath(shape, TovoTheme::prominentAccent());
        label = TovoTheme::labelOn(TovoTheme::prominentAccent());
    } else {
        QLinearGradient fill(box.topLeft(), box.bottomRight());
        fill.setColorAt(0, hovered ? TovoTheme::accent().lighter(106) : TovoTheme::accent());
        fill.setColorAt(1, TovoTheme::accentEnd());
        painter.fillPath(shape, fill);
        label = TovoTheme::labelOn(TovoTheme::accent());
    }
    if (role_ == ButtonRole::plain || !isEnabled()) {
        painter.setPen(QPen(TovoTheme::primaryAt(pal, 0.16), 1));
        painter.drawPath(shape);
    }
    if (hasFocus()) {
        // On a fill the ring sits inside, in the label's colour; on a plain button it
        // is the outline itself.
        if (isProminent() && isEnabled()) {
            QColor ring = label;
            ring.setAlphaF(0.7F);
            painter.setPen(QPen(ring, 1.5));
            painter.drawRoundedRect(box.adjusted(2.5, 2.5, -2.5, -2.5), cornerRadius - 2.5,
                                    cornerRadius - 2.5);
        } else {
            painter.setPen(QPen(pal.color(QPalette::Highlight), 2));
            painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius - 0.5,
                                    cornerRadius - 0.5);
        }
    }
    painter.setPen(label);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextShowMnemonic, text());
}

} // namespace tovo
