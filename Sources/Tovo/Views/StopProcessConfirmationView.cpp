#include "Tovo/Views/StopProcessConfirmationView.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/ProminentButton.hpp"
#include "Tovo/Views/SheetParts.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tovo {

StopProcessConfirmationView::StopProcessConfirmationView(const ProcessPresentation& presentation,
                                                         const BlockingProcess& process,
                                                         const std::optional<ProcessStopPlan>& plan,
                                                         std::function<void()> onCancel,
                                                         std::function<void()> onConfirm,
                                                         QWidget* parent)
    : QDialog(parent)
    , content_(StopConfirmationPresentation::content(presentation, process, plan))
    , onCancel_(std::move(onCancel))
    , onConfirm_(std::move(onConfirm)) {
    setWindowModality(Qt::WindowModal);
    setWindowTitle(QString::fromStdString(content_.title));
    setMinimumWidth(380);
    setMaximumWidth(520);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 22, 22, 18);
    column->setSpacing(10);

    auto* title = new QLabel(QString::fromStdString(content_.title), this);
    title->setFont(TovoTheme::headlineFont(font()));
    title->setWordWrap(true);
    column->addWidget(title);

    if (content_.planMessage) {
        auto* message = new QLabel(QString::fromStdString(*content_.planMessage), this);
        message->setWordWrap(true);
        column->addWidget(message);
    }
    if (content_.warning) {
        SheetParts::symbolLine(column, content_.warningSymbol,
                               TovoTheme::symbolColor(SymbolColor::orange, palette()),
                               QString::fromStdString(*content_.warning), this);
    }
    if (content_.unavailableTitle) {
        QLabel* unavailable = SheetParts::symbolLine(
            column, content_.unavailableSymbol, TovoTheme::symbolColor(SymbolColor::red, palette()),
            QString::fromStdString(*content_.unavailableTitle), this);
        unavailable->setFont(TovoTheme::headlineFont(font()));
    }
    if (content_.explanation) {
        column->addWidget(
            SheetParts::secondaryText(QString::fromStdString(*content_.explanation), this));
    }
    auto* note = SheetParts::secondaryText(QString::fromStdString(content_.lastResortNote), this);
    note->setFont(TovoTheme::subheadlineFont(font()));
    column->addWidget(note);
    if (content_.ownerNote) {
        column->addWidget(
            SheetParts::secondaryText(QString::fromStdString(*content_.ownerNote), this));
    }

    column->addSpacing(6);
    auto* buttons = new QHBoxLayout();
    buttons->addStretch(1);
    if (content_.canConfirm && content_.cancelTitle) {
        cancel_ = new QPushButton(QString::fromStdString(*content_.cancelTitle), this);
        cancel_->setAutoDefault(false);
        connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);
        buttons->addWidget(cancel_);
    }
    confirm_ = new ProminentButton(QString::fromStdString(content_.confirmTitle), this);
    confirm_->setDefault(true);
    if (content_.confirmAccessibilityHint) {
        confirm_->setAccessibleDescription(
            QString::fromStdString(*content_.confirmAccessibilityHint));
    }
    confirm_->setProminent(content_.canConfirm);
    connect(confirm_, &QPushButton::clicked, this,
            content_.canConfirm ? &QDialog::accept : &QDialog::reject);
    buttons->addWidget(confirm_);
    column->addLayout(buttons);
}

void StopProcessConfirmationView::done(int result) {
    if (finished_) {
        return;
    }
    finished_ = true;
    QDialog::done(result);
    if (result == QDialog::Accepted && content_.canConfirm) {
        onConfirm_();
    } else {
        onCancel_();
    }
}

} // namespace tovo
