#include "Tovo/Views/StatusPanel.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Views/StatusChildViews.hpp"
#include "Tovo/Views/WriteOutStatusView.hpp"

#include <QPainter>
#include <QVBoxLayout>

namespace tovo {

namespace {

BlockedStatusView::Inputs blockedInputs(const StatusPanel::Inputs& inputs) {
    return {inputs.blockers,        inputs.releasePlans, inputs.stopPlans,
            inputs.releaseAttempts, inputs.busyCauses,   inputs.causeAttempts};
}

} // namespace

StatusPanel::StatusPanel(const ProcessPresentation& presentation,
                         BlockingProcessRow::Actions actions, QWidget* parent)
    : QWidget(parent)
    , presentation_(presentation)
    , actions_(std::move(actions))
    , layout_(new QVBoxLayout(this)) {
    layout_->setContentsMargins(16, 16, 16, 16);
    setAccessibleName(QStringLiteral("Status"));
    setFocusPolicy(Qt::NoFocus);
}

BlockedStatusView* StatusPanel::blockedView() const {
    return qobject_cast<BlockedStatusView*>(view_);
}

void StatusPanel::setState(const Inputs& inputs) {
    StatusContent content = StatusPresentation::windowContent(
        inputs.phase, inputs.disk, inputs.blockers, inputs.releasePlans, inputs.busyCauses,
        inputs.hasListedDisks);
    setAccessibleDescription(
        QString::fromStdString(StatusPresentation::accessibleSummary(content)));
    if (content_ && content_->kind == StatusViewKind::blocked &&
        content.kind == StatusViewKind::blocked) {
        blockedView()->setInputs(content, blockedInputs(inputs));
        content_ = std::move(content);
        return;
    }
    if (content_ == content && view_ != nullptr) {
        return;
    }
    if (view_ != nullptr) {
        layout_->removeWidget(view_);
        view_->hide();
        view_->deleteLater();
    }
    view_ = makeView(content, inputs);
    layout_->addWidget(view_);
    content_ = std::move(content);
}

void StatusPanel::setWriteOut(const std::optional<WriteOutNotice>& notice) {
    if (!notice) {
        if (writeOut_ != nullptr) {
            writeOut_->hide();
        }
        return;
    }
    if (writeOut_ == nullptr) {
        writeOut_ = new WriteOutStatusView(this);
    }
    // Under whichever card the phase shows; a new card is added at the end.
    if (layout_->indexOf(writeOut_) != layout_->count() - 1) {
        layout_->removeWidget(writeOut_);
        layout_->addWidget(writeOut_);
    }
    writeOut_->setNotice(*notice);
    writeOut_->show();
}

QWidget* StatusPanel::makeView(const StatusContent& content, const Inputs& inputs) {
    switch (content.kind) {
    case StatusViewKind::ready:
        return new ReadyView(content, this);
    case StatusViewKind::emptyDisks:
        return new EmptyDisksView(content, this);
    case StatusViewKind::busy:
        return new BusyStatusView(content, this);
    case StatusViewKind::blocked: {
        auto* blocked = new BlockedStatusView(presentation_, content, actions_, this);
        blocked->setInputs(content, blockedInputs(inputs));
        return blocked;
    }
    case StatusViewKind::success:
        return new SuccessStatusView(content, this);
    case StatusViewKind::failure:
        break;
    }
    return new FailureStatusView(content, this);
}

std::vector<QWidget*> StatusPanel::focusOrder() const {
    if (const BlockedStatusView* blocked = blockedView()) {
        return blocked->focusOrder();
    }
    return {};
}

void StatusPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    TovoTheme::paintCard(painter, rect(), palette());
    if (hasFocus()) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1),
                                TovoTheme::cardCornerRadius - 1, TovoTheme::cardCornerRadius - 1);
    }
}

void StatusPanel::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    update();
}

void StatusPanel::focusOutEvent(QFocusEvent* event) {
    QWidget::focusOutEvent(event);
    update();
}

} // namespace tovo
