#include "Tovo/Views/SafeTovoConfirmationView.hpp"

#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/ProminentButton.hpp"
#include "Tovo/Views/SheetParts.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace tovo {

SafeTovoConfirmationView::SafeTovoConfirmationView(
    const ProcessPresentation& presentation, const ExternalDisk& disk,
    const std::vector<BlockingProcess>& blockers,
    const std::vector<ProcessReleasePlan>& releasePlans, const std::vector<BusyCause>& causes,
    std::function<void()> onCancel, std::function<void()> onConfirm, QWidget* parent)
    : QDialog(parent)
    , content_(
          ReleaseReviewPresentation::content(presentation, disk, blockers, releasePlans, causes))
    , onCancel_(std::move(onCancel))
    , onConfirm_(std::move(onConfirm)) {
    setWindowModality(Qt::WindowModal);
    setWindowTitle(QString::fromStdString(content_.title));
    setMinimumWidth(380);
    setMaximumWidth(520);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 22, 22, 18);
    column->setSpacing(12);

    auto* header = new QHBoxLayout();
    header->setSpacing(12);
    auto* symbol = new QLabel(this);
    symbol->setFixedSize(40, 40);
    symbol->setPixmap(SymbolImage::pixmap(
        content_.headerSymbol, 40,
        TovoTheme::symbolColor(content_.canConfirm ? SymbolColor::accent : SymbolColor::orange,
                               palette()),
        devicePixelRatioF()));
    header->addWidget(symbol, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout();
    texts->setSpacing(4);
    auto* title = new QLabel(QString::fromStdString(content_.title), this);
    title->setFont(TovoTheme::headlineFont(font()));
    title->setWordWrap(true);
    texts->addWidget(title);
    auto* message = new QLabel(QString::fromStdString(content_.message), this);
    message->setWordWrap(true);
    texts->addWidget(message);
    auto* subline = SheetParts::secondaryText(QString::fromStdString(content_.subline), this);
    subline->setFont(TovoTheme::subheadlineFont(font()));
    texts->addWidget(subline);
    header->addLayout(texts, 1);
    column->addLayout(header);

    for (const ReleaseReviewEntry& entry : content_.entries) {
        const auto process =
            std::find_if(blockers.begin(), blockers.end(), [&](const BlockingProcess& candidate) {
                return candidate.pid == entry.processID;
            });
        auto* row = new QHBoxLayout();
        row->setSpacing(8);
        auto* mark = new QLabel(this);
        mark->setFixedSize(16, 16);
        const auto plan = releasePlanFor(entry.processID, releasePlans);
        const bool eligible = plan && plan->strategy == ReleaseStrategy::quitApplication;
        mark->setPixmap(SymbolImage::pixmap(
            entry.symbol, 16,
            TovoTheme::symbolColor(eligible ? SymbolColor::green : SymbolColor::orange, palette()),
            devicePixelRatioF()));
        row->addWidget(mark, 0, Qt::AlignTop);
        auto* entryTexts = new QVBoxLayout();
        entryTexts->setSpacing(1);
        auto* name = new QLabel(QString::fromStdString(entry.name), this);
        name->setFont(TovoTheme::headlineFont(font()));
        entryTexts->addWidget(name);
        entryTexts->addWidget(
            SheetParts::secondaryText(QString::fromStdString(entry.message), this));
        entryTexts->addStretch(1);
        row->addLayout(entryTexts, 1);
        column->addLayout(row);
        std::vector<std::string> lines;
        if (process != blockers.end()) {
            lines =
                blockerRowContent(presentation, *process, std::nullopt, std::nullopt, std::nullopt)
                    .detailLines;
        }
        row->addWidget(SheetParts::disclosure(column, entry.showDetailsLabel,
                                              entry.hideDetailsLabel, lines, this),
                       0, Qt::AlignTop);
    }

    for (const CauseReviewEntry& entry : content_.causeEntries) {
        auto* row = new QHBoxLayout();
        row->setSpacing(8);
        auto* mark = new QLabel(this);
        mark->setFixedSize(16, 16);
        mark->setPixmap(SymbolImage::pixmap(
            entry.symbol, 16,
            TovoTheme::symbolColor(entry.tovoActs ? SymbolColor::green : SymbolColor::orange,
                                   palette()),
            devicePixelRatioF()));
        row->addWidget(mark, 0, Qt::AlignTop);
        auto* entryTexts = new QVBoxLayout();
        entryTexts->setSpacing(1);
        auto* name = new QLabel(QString::fromStdString(entry.title), this);
        name->setFont(TovoTheme::headlineFont(font()));
        entryTexts->addWidget(name);
        entryTexts->addWidget(
            SheetParts::secondaryText(QString::fromStdString(entry.sentence), this));
        entryTexts->addWidget(
            SheetParts::secondaryText(QString::fromStdString(entry.message), this));
        row->addLayout(entryTexts, 1);
        column->addLayout(row);
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

void SafeTovoConfirmationView::done(int result) {
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
