#include "Tovo/Views/BlockedStatusView.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/DisclosureButton.hpp"
#include "Tovo/Views/StatusChildViews.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace tovo {

BlockedStatusView::BlockedStatusView(const ProcessPresentation& presentation,
                                     const StatusContent& content,
                                     BlockingProcessRow::Actions actions, QWidget* parent)
    : QWidget(parent)
    , presentation_(presentation)
    , actions_(std::move(actions))
    , content_(content)
    , rowsLayout_(new QVBoxLayout()) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(12);
    auto* header = new QHBoxLayout();
    header->setSpacing(12);
    auto* symbol = new QLabel(this);
    symbol->setFixedSize(28, 28);
    if (content.symbol) {
        const QColor tint = content.symbolColor
                                ? TovoTheme::symbolColor(*content.symbolColor, palette())
                                : TovoTheme::symbolColor(SymbolColor::orange, palette());
        symbol->setPixmap(SymbolImage::pixmap(*content.symbol, 28, tint, devicePixelRatioF()));
    }
    header->addWidget(symbol, 0, Qt::AlignTop);
    header->addWidget(makeStatusTexts(content, title_, message_, this), 1);
    column->addLayout(header);
    rowsLayout_->setContentsMargins(0, 0, 0, 0);
    rowsLayout_->setSpacing(8);
    column->addLayout(rowsLayout_);

    // A row's own disclosure reports here, so the set outlives the rows.
    auto toggled = actions_.onExpandedChanged;
    actions_.onExpandedChanged = [this, toggled](std::int32_t pid, bool on) {
        if (on) {
            expanded_.insert(pid);
        } else {
            expanded_.erase(pid);
        }
        if (toggled) {
            toggled(pid, on);
        }
    };
}

void BlockedStatusView::setInputs(const StatusContent& content, Inputs inputs) {
    if (content.title != content_.title || content.message != content_.message) {
        QtText::setWrappedText(title_, QString::fromStdString(content.title));
        QtText::setWrappedText(message_, QString::fromStdString(content.message));
    }
    content_ = content;
    if (inputs == inputs_ && rows_.size() == inputs.blockers.size() &&
        causeRows_.size() == inputs.busyCauses.size()) {
        return;
    }
    inputs_ = std::move(inputs);
    rebuildRows();
}

std::vector<QWidget*> BlockedStatusView::focusOrder() const {
    std::vector<QWidget*> order;
    for (const BlockingProcessRow* row : rows_) {
        const auto own = row->focusOrder();
        order.insert(order.end(), own.begin(), own.end());
    }
    for (const BusyCauseRow* row : causeRows_) {
        order.push_back(row->disclosureButton());
    }
    return order;
}

void BlockedStatusView::rebuildRows() {
    for (BlockingProcessRow* row : rows_) {
        rowsLayout_->removeWidget(row);
        row->hide();
        row->deleteLater();
    }
    rows_.clear();
    for (BusyCauseRow* row : causeRows_) {
        rowsLayout_->removeWidget(row);
        row->hide();
        row->deleteLater();
    }
    causeRows_.clear();
    for (const BlockingProcess& process : inputs_.blockers) {
        auto* row = new BlockingProcessRow(presentation_, process,
                                           releasePlanFor(process.pid, inputs_.releasePlans),
                                           stopPlanFor(process.pid, inputs_.stopPlans),
                                           latestAttemptFor(process.pid, inputs_.releaseAttempts),
                                           expanded_.contains(process.pid), actions_, this);
        rowsLayout_->addWidget(row);
        rows_.push_back(row);
    }
    for (auto& content : BusyCausePresentation::rows(inputs_.busyCauses, inputs_.causeAttempts)) {
        const bool expanded = expandedCauses_.contains(content.key);
        auto* row = new BusyCauseRow(
            std::move(content), expanded,
            [this](const std::string& key, bool on) {
                if (on) {
                    expandedCauses_.insert(key);
                } else {
                    expandedCauses_.erase(key);
                }
            },
            this);
        rowsLayout_->addWidget(row);
        causeRows_.push_back(row);
    }
}

} // namespace tovo
