#include "Tovo/Views/ActivityIndicator.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"

#include <QPainter>

namespace tovo {

ActivityIndicator::ActivityIndicator(QWidget* parent)
    : QProgressBar(parent) {
    setRange(0, 0);
    setTextVisible(false);
    setFixedSize(sizeHint());
    timer_.setInterval(40);
    connect(&timer_, &QTimer::timeout, this, [this] {
        angle_ = (angle_ + 24) % 360;
        update();
    });
}

void ActivityIndicator::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(3, 3, -3, -3);
    painter.setPen(QPen(TovoTheme::primaryAt(palette(), 0.12), 2.5));
    painter.drawEllipse(box);
    painter.setPen(QPen(TovoTheme::accent(), 2.5, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(box, -angle_ * 16, 100 * 16);
}

void ActivityIndicator::showEvent(QShowEvent* event) {
    timer_.start();
    QProgressBar::showEvent(event);
}

void ActivityIndicator::hideEvent(QHideEvent* event) {
    timer_.stop();
    QProgressBar::hideEvent(event);
}

} // namespace tovo
