#include "Tovo/Views/DiskSelectorView.hpp"

#include "Tovo/Support/DiskCardPresentation.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Views/DiskCard.hpp"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace tovo {

DiskSelectorView::DiskSelectorView(std::function<void(const std::string&)> onSelect,
                                   bool reduceMotion, QWidget* parent)
    : QWidget(parent)
    , onSelect_(std::move(onSelect))
    , reduceMotion_(reduceMotion)
    , countBadge_(new QLabel(this))
    , grid_(new QGridLayout()) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(10);

    auto* heading = new QHBoxLayout();
    auto* title = new QLabel(QString::fromUtf8(DiskCardPresentation::selectorHeading), this);
    title->setFont(TovoTheme::headlineFont(font()));
    heading->addWidget(title);
    heading->addStretch(1);
    countBadge_->setFont(TovoTheme::captionFont(font()));
    countBadge_->setContentsMargins(8, 3, 8, 3);
    countBadge_->setAutoFillBackground(false);
    countBadge_->setStyleSheet(
        QStringLiteral("QLabel { border-radius: 8px; background: %1; }")
            .arg(TovoTheme::countBadgeFill(palette()).name(QColor::HexArgb)));
    heading->addWidget(countBadge_);
    column->addLayout(heading);

    grid_->setContentsMargins(0, 0, 0, 0);
    grid_->setHorizontalSpacing(DiskCardPresentation::cardSpacing);
    grid_->setVerticalSpacing(DiskCardPresentation::cardSpacing);
    column->addLayout(grid_);
}

void DiskSelectorView::setState(const std::vector<ExternalDisk>& disks,
                                const std::optional<std::string>& selection, bool isEnabled) {
    countBadge_->setText(QString::number(disks.size()));
    countBadge_->setAccessibleName(
        QString::fromStdString(DiskCardPresentation::diskCountAccessibilityLabel(disks.size())));
    const bool rebuilt = disks != disks_ || cards_.size() != disks.size();
    if (rebuilt) {
        rebuild(disks);
    }
    // Only a change of selection on cards that stay is worth animating.
    const bool animated = !rebuilt && selection != selection_;
    selection_ = selection;
    for (DiskCard* card : cards_) {
        card->setEnabled(isEnabled);
        card->setSelected(selection.has_value() && card->disk().id == *selection, animated);
    }
}

void DiskSelectorView::rebuild(const std::vector<ExternalDisk>& disks) {
    disks_ = disks;
    for (DiskCard* card : cards_) {
        grid_->removeWidget(card);
        card->hide();
        card->deleteLater();
    }
    cards_.clear();

    const GridColumns columns = DiskCardPresentation::gridColumns(disks.size());
    for (int c = 0; c < 2; ++c) {
        grid_->setColumnMinimumWidth(c, 0);
        grid_->setColumnStretch(c, 0);
    }
    for (int c = 0; c < columns.count; ++c) {
        grid_->setColumnMinimumWidth(c, columns.minimumWidth);
        grid_->setColumnStretch(c, 1);
    }
    for (std::size_t index = 0; index < disks.size(); ++index) {
        auto* card = new DiskCard(disks[index], reduceMotion_, this);
        const std::string id = disks[index].id;
        connect(card, &DiskCard::clicked, this, [this, id] { onSelect_(id); });
        const int row = static_cast<int>(index) / columns.count;
        const int col = static_cast<int>(index) % columns.count;
        grid_->addWidget(card, row, col);
        cards_.push_back(card);
    }
}

} // namespace tovo
