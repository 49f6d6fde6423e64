#include "Tovo/Views/ActionBar.hpp"

#include "Tovo/Support/ReleaseReviewPresentation.hpp"
#include "Tovo/Views/ProminentButton.hpp"

#include <QHBoxLayout>
#include <QShortcut>

namespace tovo {

ActionBar::ActionBar(Actions actions, QWidget* parent)
    : QWidget(parent)
    , actions_(std::move(actions))
    , primary_(new ProminentButton(this))
    , safe_(new ProminentButton(this))
    , returnKey_(new QShortcut(QKeySequence(Qt::Key_Return), this))
    , enterKey_(new QShortcut(QKeySequence(Qt::Key_Enter), this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    row->addStretch(1);
    row->addWidget(safe_);
    row->addWidget(primary_);
    primary_->setMinimumHeight(30);
    safe_->setMinimumHeight(30);
    safe_->hide();
    connect(primary_, &QPushButton::clicked, this, &ActionBar::triggerPrimary);
    connect(safe_, &QPushButton::clicked, this, [this] { actions_.onTovo(); });
    // The default action answers Return while its button is the default one.
    for (QShortcut* key : {returnKey_, enterKey_}) {
        key->setContext(Qt::WindowShortcut);
        key->setEnabled(false);
        connect(key, &QShortcut::activated, this, [this] {
            if (primary_->isEnabled() && content_ && content_->primary.isDefaultAction) {
                primary_->click();
            }
        });
    }
}

void ActionBar::setState(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                         const std::vector<ProcessReleasePlan>& releasePlans, bool causeActions) {
    ActionBarContent content = ActionBarPresentation::content(phase, disk, releasePlans);
    const bool leads =
        content.safeAction.has_value() &&
        (ReleaseReviewPresentation::eligiblePlanCount(releasePlans) > 0 || causeActions);
    if (content_ == content && safeLeads_ == leads) {
        return;
    }
    const PrimaryAction& primary = content.primary;
    primary_->setText(QString::fromStdString(primary.title));
    primary_->setToolTip(QString::fromStdString(primary.help.value_or(std::string())));
    primary_->setAccessibleName(QString::fromStdString(primary.accessibilityLabel));
    primary_->setAccessibleDescription(
        QString::fromStdString(primary.accessibilityHint.value_or(std::string())));
    primary_->setEnabled(primary.isEnabled);
    returnKey_->setEnabled(primary.isDefaultAction);
    enterKey_->setEnabled(primary.isDefaultAction);

    if (content.safeAction) {
        safe_->setText(QString::fromStdString(content.safeAction->title));
        safe_->setAccessibleName(QString::fromStdString(content.safeAction->title));
        safe_->setAccessibleDescription(
            QString::fromStdString(content.safeAction->accessibilityHint));
        safe_->show();
    } else {
        safe_->hide();
    }
    content_ = std::move(content);
    safeLeads_ = leads;
    applyProminence();
}

void ActionBar::applyProminence() {
    // When Tovo can release something the review is the recommended path.
    safe_->setProminent(safeLeads_);
    primary_->setProminent(!safeLeads_);
}

void ActionBar::triggerPrimary() {
    if (!content_) {
        return;
    }
    switch (content_->primary.kind) {
    case PrimaryActionKind::eject:
    case PrimaryActionKind::checkAgain:
    case PrimaryActionKind::tryAgain:
        actions_.onEject();
        return;
    case PrimaryActionKind::refresh:
        actions_.onRefresh();
        return;
    case PrimaryActionKind::done:
        actions_.onReset();
        return;
    }
}

} // namespace tovo
