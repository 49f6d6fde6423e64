#include "Tovo/Views/HeaderView.hpp"

#include "Tovo/Support/DiskCardPresentation.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>
#include <QVBoxLayout>

namespace tovo {

namespace {

constexpr int badgeSize = 38;
constexpr double badgeCornerRadius = 11;
constexpr int refreshButtonSize = 24;

} // namespace

HeaderBadge::HeaderBadge(QWidget* parent)
    : QWidget(parent) {
    setFixedSize(badgeSize, badgeSize);
    setAccessibleName(QString());
}

QPixmap HeaderBadge::render(int size, qreal scale) {
    QPixmap pixmap(QSize(size, size) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const double radius = badgeCornerRadius * size / badgeSize;
    QLinearGradient fill(0, 0, size, size);
    fill.setColorAt(0, TovoTheme::accent());
    fill.setColorAt(1, TovoTheme::accentEnd());
    QPainterPath path;
    path.addRoundedRect(QRectF(0, 0, size, size), radius, radius);
    painter.fillPath(path, fill);
    // A drive drawn in white: a slab with a light on it.
    const double s = size;
    const QRectF slab(s * 0.2, s * 0.36, s * 0.6, s * 0.3);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(slab, s * 0.06, s * 0.06);
    painter.setBrush(TovoTheme::accent());
    painter.drawEllipse(QPointF(s * 0.68, s * 0.51), s * 0.04, s * 0.04);
    painter.setBrush(QColor(255, 255, 255, 200));
    painter.drawRoundedRect(QRectF(s * 0.26, s * 0.70, s * 0.48, s * 0.05), s * 0.02, s * 0.02);
    return pixmap;
}

void HeaderBadge::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.drawPixmap(0, 0, render(badgeSize, devicePixelRatioF()));
}

HeaderView::HeaderView(std::function<void()> onRefresh, bool isDemo, QWidget* parent)
    : QWidget(parent)
    , onRefresh_(std::move(onRefresh))
    , refreshButton_(new QToolButton(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    row->addWidget(new HeaderBadge(this), 0, Qt::AlignVCenter);

    auto* titles = new QVBoxLayout();
    titles->setSpacing(1);
    auto* title = new QLabel(QString::fromUtf8(DiskCardPresentation::appTitle), this);
    title->setFont(TovoTheme::titleFont(font()));
    tagline_ = new QLabel(QString::fromUtf8(DiskCardPresentation::tagline), this);
    tagline_->setFont(TovoTheme::captionFont(font()));
    auto* titleRow = new QHBoxLayout();
    titleRow->setSpacing(8);
    titleRow->addWidget(title);
    if (isDemo) {
        demoBadge_ = new QLabel(QString::fromUtf8(DiskCardPresentation::demoBadge), this);
        demoBadge_->setFont(TovoTheme::captionFont(font()));
        demoBadge_->setContentsMargins(7, 1, 7, 1);
        titleRow->addWidget(demoBadge_, 0, Qt::AlignVCenter);
    }
    titleRow->addStretch(1);
    titles->addLayout(titleRow);
    titles->addWidget(tagline_);
    row->addLayout(titles);
    row->addStretch(1);

    const QString refreshLabel = QString::fromUtf8(DiskCardPresentation::refreshLabel);
    refreshButton_->setAutoRaise(true);
    refreshButton_->setFixedSize(refreshButtonSize, refreshButtonSize);
    refreshButton_->setIconSize(QSize(16, 16));
    refreshButton_->setToolTip(refreshLabel);
    refreshButton_->setAccessibleName(refreshLabel);
    refreshButton_->setFocusPolicy(Qt::StrongFocus);
    connect(refreshButton_, &QToolButton::clicked, this, [this] { onRefresh_(); });
    row->addWidget(refreshButton_, 0, Qt::AlignVCenter);
    updateIcons();
}

void HeaderView::setRefreshEnabled(bool enabled) {
    refreshButton_->setEnabled(enabled);
}

void HeaderView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) {
        updateIcons();
    }
    QWidget::changeEvent(event);
}

void HeaderView::updateIcons() {
    const QPalette& pal = palette();
    QPalette tagline = tagline_->palette();
    tagline.setColor(QPalette::WindowText, TovoTheme::textColor(TextColor::secondary, pal));
    tagline_->setPalette(tagline);
    if (demoBadge_ != nullptr) {
        // Text on the count badge's tint, in the caution colour: sample data.
        demoBadge_->setStyleSheet(
            QStringLiteral("QLabel { border-radius: 7px; background: %1; color: %2; }")
                .arg(TovoTheme::countBadgeFill(pal).name(QColor::HexArgb),
                     TovoTheme::textColor(TextColor::caution, pal).name(QColor::HexArgb)));
    }
    // The disabled arrow must look disabled: the resting one is already grey.
    QIcon icon(SymbolImage::pixmap(DiskCardPresentation::refreshSymbol, 16,
                                   TovoTheme::textColor(TextColor::secondary, pal),
                                   devicePixelRatioF()));
    QColor disabled = TovoTheme::primaryAt(pal, 0.25);
    icon.addPixmap(
        SymbolImage::pixmap(DiskCardPresentation::refreshSymbol, 16, disabled, devicePixelRatioF()),
        QIcon::Disabled);
    refreshButton_->setIcon(icon);
}

} // namespace tovo
