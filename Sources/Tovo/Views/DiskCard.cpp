#include "Tovo/Views/DiskCard.hpp"

#include "Tovo/Support/DiskCardPresentation.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"

#include <QEnterEvent>
#include <QEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>

namespace tovo {

namespace {

constexpr int diskIconSize = 34;
constexpr int markSize = 18;
constexpr int padding = 12;
constexpr double cornerRadius = 14;
constexpr int selectionMilliseconds = 180;

} // namespace

DiskCard::DiskCard(ExternalDisk disk, bool reduceMotion, QWidget* parent)
    : QAbstractButton(parent)
    , disk_(std::move(disk))
    , detail_(QString::fromStdString(DiskCardPresentation::detailText(disk_)))
    , reduceMotion_(reduceMotion)
    , animation_(new QVariantAnimation(this)) {
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setText(QString::fromStdString(disk_.displayName));
    animation_->setDuration(selectionMilliseconds);
    animation_->setEasingCurve(QEasingCurve::InOutQuad);
    connect(animation_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        progress_ = value.toDouble();
        update();
    });
    updateAccessibility();
}

void DiskCard::setSelected(bool selected, bool animated) {
    if (selected == selected_ && !isAnimating()) {
        return;
    }
    selected_ = selected;
    setChecked(selected);
    const double target = selected ? 1.0 : 0.0;
    animation_->stop();
    if (animated && !reduceMotion_) {
        animation_->setStartValue(progress_);
        animation_->setEndValue(target);
        animation_->start();
    } else {
        progress_ = target;
        update();
    }
    updateAccessibility();
}

bool DiskCard::isAnimating() const {
    return animation_->state() == QAbstractAnimation::Running;
}

void DiskCard::updateAccessibility() {
    setAccessibleName(QString::fromStdString(disk_.displayName) +
                      (detail_.isEmpty() ? QString() : QStringLiteral(", ") + detail_));
    setAccessibleDescription(QString::fromUtf8(DiskCardPresentation::cardAccessibilityHint));
    setToolTip(QString::fromStdString(
        DiskCardPresentation::cardTooltip(disk_.displayName, selected_, nameIsElided())));
}

int DiskCard::textWidth() const {
    const int textLeft = padding + diskIconSize + 10;
    const int markLeft = width() - padding - markSize;
    return markLeft - 8 - textLeft;
}

bool DiskCard::nameIsElided() const {
    const QFontMetrics name(TovoTheme::headlineFont(font()));
    return name.horizontalAdvance(text()) > textWidth();
}

void DiskCard::resizeEvent(QResizeEvent* event) {
    QAbstractButton::resizeEvent(event);
    updateAccessibility();
}

void DiskCard::changeEvent(QEvent* event) {
    QAbstractButton::changeEvent(event);
    if (event->type() == QEvent::EnabledChange) {
        update();
    }
}

QSize DiskCard::sizeHint() const {
    const QFontMetrics name(TovoTheme::headlineFont(font()));
    const QFontMetrics detail(TovoTheme::captionFont(font()));
    const int textHeight = name.height() + 2 + detail.height();
    return {260, std::max(diskIconSize, textHeight) + 2 * padding};
}

QSize DiskCard::minimumSizeHint() const {
    return {160, sizeHint().height()};
}

QPixmap DiskCard::diskIcon() const {
    return SymbolImage::pixmap(DiskCardPresentation::fallbackDiskSymbol, diskIconSize,
                               TovoTheme::textColor(TextColor::secondary, palette()),
                               devicePixelRatioF());
}

void DiskCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled()) {
        painter.setOpacity(0.45);
    }
    const QPalette& pal = palette();
    const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(box, cornerRadius, cornerRadius);

    QColor fill = TovoTheme::restingDiskCardFill(pal);
    fill.setAlphaF(fill.alphaF() * ((hovered_ && isEnabled()) ? 2.0F : 1.0F) *
                   static_cast<float>(1 - progress_));
    painter.fillPath(path, fill);
    QColor accentFill = TovoTheme::selectedDiskCardFill();
    accentFill.setAlphaF(accentFill.alphaF() * static_cast<float>(progress_));
    painter.fillPath(path, accentFill);

    QColor outline = TovoTheme::primaryAt(pal, 0.10 * (1 - progress_));
    QColor accentOutline = TovoTheme::accent();
    accentOutline.setAlphaF(static_cast<float>(0.75 * progress_));
    painter.setPen(QPen(outline, 1));
    painter.drawPath(path);
    painter.setPen(QPen(accentOutline, 1.5));
    painter.drawPath(path);
    if (hasFocus()) {
        painter.setPen(QPen(pal.color(QPalette::Highlight), 2));
        painter.drawRoundedRect(box.adjusted(1.5, 1.5, -1.5, -1.5), cornerRadius - 1.5,
                                cornerRadius - 1.5);
    }

    const int top = (height() - diskIconSize) / 2;
    painter.drawPixmap(padding, top, diskIcon());

    const QPixmap mark = SymbolImage::pixmap(
        DiskCardPresentation::selectionSymbol(selected_), markSize,
        TovoTheme::symbolColor(DiskCardPresentation::selectionSymbolColor(selected_, isEnabled()),
                               pal),
        devicePixelRatioF());
    const int markLeft = width() - padding - markSize;
    painter.drawPixmap(markLeft, (height() - markSize) / 2, mark);

    const int textLeft = padding + diskIconSize + 10;
    const int textWidth = this->textWidth();
    const QFont nameFont = TovoTheme::headlineFont(font());
    const QFont detailFont = TovoTheme::captionFont(font());
    const QFontMetrics nameMetrics(nameFont);
    const QFontMetrics detailMetrics(detailFont);
    const int textHeight = nameMetrics.height() + 2 + detailMetrics.height();
    int y = (height() - textHeight) / 2;
    painter.setFont(nameFont);
    painter.setPen(pal.color(QPalette::WindowText));
    painter.drawText(QRect(textLeft, y, textWidth, nameMetrics.height()),
                     Qt::AlignLeft | Qt::AlignVCenter,
                     nameMetrics.elidedText(text(), Qt::ElideRight, textWidth));
    y += nameMetrics.height() + 2;
    painter.setFont(detailFont);
    painter.setPen(TovoTheme::textColor(TextColor::secondary, pal));
    painter.drawText(QRect(textLeft, y, textWidth, detailMetrics.height()),
                     Qt::AlignLeft | Qt::AlignVCenter,
                     detailMetrics.elidedText(detail_, Qt::ElideRight, textWidth));
}

void DiskCard::enterEvent(QEnterEvent* event) {
    hovered_ = true;
    update();
    QAbstractButton::enterEvent(event);
}

void DiskCard::leaveEvent(QEvent* event) {
    hovered_ = false;
    update();
    QAbstractButton::leaveEvent(event);
}

} // namespace tovo
