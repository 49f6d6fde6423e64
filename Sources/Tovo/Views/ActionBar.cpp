#include "Tovo/Views/ActionBar.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
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
    // A hidden Eject keeps its place, so the bar's height never jumps.
    QSizePolicy keep = primary_->sizePolicy();
    keep.setRetainSizeWhenHidden(true);
    primary_->setSizePolicy(keep);
    safe_->hide();
    connect(primary_, &QPushButton::clicked, this, &ActionBar::triggerPrimary);
    connect(safe_, &QPushButton::clicked, this, [this] { actions_.onTovo(); });
    // The default action answers Return while its button is the default one.
    for (QShortcut* key : {returnKey_, enterKey_}) {
        key->setContext(Qt::WindowShortcut);
        key->setEnabled(false);
        connect(key, &QShortcut::activated, this, [this] {
            if (primary_->isVisible() && primary_->isEnabled() && content_ &&
                content_->primary.isDefaultAction) {
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
    primary_->setText(QtText::literal(primary.title));
    primary_->setToolTip(QString::fromStdString(primary.help.value_or(std::string())));
    primary_->setAccessibleName(QString::fromStdString(primary.accessibilityLabel));
    primary_->setAccessibleDescription(
        QString::fromStdString(primary.accessibilityHint.value_or(std::string())));
    primary_->setEnabled(primary.isEnabled);
    primary_->setVisible(primary.isShown);
    returnKey_->setEnabled(primary.isDefaultAction);
    enterKey_->setEnabled(primary.isDefaultAction);

    if (content.safeAction) {
        safe_->setText(QtText::literal(content.safeAction->title));
        safe_->setAccessibleName(QString::fromStdString(content.safeAction->accessibilityLabel));
        safe_->setToolTip(QString::fromStdString(content.safeAction->help.value_or(std::string())));
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

QWidget* ActionBar::focusTarget() const {
    const auto usable = [](const ProminentButton* button) {
        return !button->isHidden() && button->isEnabled();
    };
    if (safeLeads_ && usable(safe_)) {
        return safe_;
    }
    if (usable(primary_)) {
        return primary_;
    }
    return usable(safe_) ? safe_ : nullptr;
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
