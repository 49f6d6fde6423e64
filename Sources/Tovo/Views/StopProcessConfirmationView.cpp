#include "Tovo/Views/StopProcessConfirmationView.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/FittedScrollArea.hpp"
#include "Tovo/Views/SheetParts.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace tovo {

StopProcessConfirmationView::StopProcessConfirmationView(
    const ProcessPresentation& presentation, const BlockingProcess& process,
    const std::optional<ProcessStopPlan>& plan,
    const std::optional<ProcessReleasePlan>& releasePlan, std::function<void()> onCancel,
    std::function<void()> onConfirm, QWidget* parent)
    : SheetFrame(parent)
    , content_(StopConfirmationPresentation::content(presentation, process, plan, releasePlan))
    , onCancel_(std::move(onCancel))
    , onConfirm_(std::move(onConfirm)) {
    setWindowTitle(QString::fromStdString(content_.title));

    auto* header = new QHBoxLayout();
    header->setSpacing(12);
    auto* symbol = new QLabel(this);
    symbol->setFixedSize(32, 32);
    symbol->setPixmap(SymbolImage::pixmap(
        content_.canConfirm ? content_.warningSymbol : content_.unavailableSymbol, 32,
        TovoTheme::symbolColor(content_.canConfirm ? SymbolColor::orange : SymbolColor::red,
                               palette()),
        devicePixelRatioF()));
    header->addWidget(symbol, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout();
    texts->setSpacing(4);
    auto* title = new QLabel(this);
    title->setFont(TovoTheme::headlineFont(font()));
    QtText::setWrappedText(title, QString::fromStdString(content_.title));
    texts->addWidget(title);
    if (content_.planMessage) {
        auto* message = new QLabel(this);
        QtText::setWrappedText(message, QString::fromStdString(*content_.planMessage));
        texts->addWidget(message);
    }
    header->addLayout(texts, 1);
    headerLayout()->addLayout(header);

    QWidget* list = this->list()->widget();
    if (content_.warning) {
        SheetParts::symbolLine(listLayout(), content_.warningSymbol,
                               TovoTheme::symbolColor(SymbolColor::orange, palette()),
                               QString::fromStdString(*content_.warning), list);
    }
    if (content_.unavailableTitle) {
        QLabel* unavailable =
            SheetParts::symbolLine(listLayout(), content_.unavailableSymbol,
                                   TovoTheme::symbolColor(SymbolColor::red, palette()),
                                   QString::fromStdString(*content_.unavailableTitle), list);
        unavailable->setFont(TovoTheme::headlineFont(font()));
    }
    if (content_.explanation) {
        listLayout()->addWidget(
            SheetParts::secondaryText(QString::fromStdString(*content_.explanation), list));
    }
    if (content_.lastResortApplies) {
        auto* note =
            SheetParts::secondaryText(QString::fromStdString(content_.lastResortNote), list);
        note->setFont(TovoTheme::subheadlineFont(font()));
        listLayout()->addWidget(note);
    }
    if (content_.ownerNote) {
        listLayout()->addWidget(
            SheetParts::secondaryText(QString::fromStdString(*content_.ownerNote), list));
    }
    // What the stop button does, where the eye goes before pressing it.
    if (content_.canConfirm && content_.confirmAccessibilityHint) {
        consequence_ = SheetParts::symbolLine(
            listLayout(), "arrow.right.circle.fill",
            TovoTheme::symbolColor(SymbolColor::red, palette()),
            QString::fromStdString(*content_.confirmAccessibilityHint), list);
    }

    if (content_.canConfirm && content_.cancelTitle) {
        cancel_ = addButton(*content_.cancelTitle, ButtonRole::plain);
        connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);
    }
    confirm_ = addButton(content_.confirmTitle, content_.confirmRole);
    if (content_.confirmAccessibilityHint) {
        confirm_->setAccessibleDescription(
            QString::fromStdString(*content_.confirmAccessibilityHint));
    }
    connect(confirm_, &QPushButton::clicked, this,
            content_.canConfirm ? &QDialog::accept : &QDialog::reject);
    ProminentButton* preferred =
        content_.cancelIsDefault && cancel_ != nullptr ? cancel_ : confirm_;
    setDefaultAndFocus(preferred, preferred);
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
