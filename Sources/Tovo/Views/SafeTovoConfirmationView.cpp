#include "Tovo/Views/SafeTovoConfirmationView.hpp"

#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/FittedScrollArea.hpp"
#include "Tovo/Views/SheetEntry.hpp"
#include "Tovo/Views/SheetParts.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>

namespace tovo {

SafeTovoConfirmationView::SafeTovoConfirmationView(
    const ProcessPresentation& presentation, const ExternalDisk& disk,
    const std::vector<BlockingProcess>& blockers,
    const std::vector<ProcessReleasePlan>& releasePlans, const std::vector<BusyCause>& causes,
    std::function<void()> onCancel, std::function<void()> onConfirm, QWidget* parent)
    : SheetFrame(parent)
    , content_(
          ReleaseReviewPresentation::content(presentation, disk, blockers, releasePlans, causes))
    , onCancel_(std::move(onCancel))
    , onConfirm_(std::move(onConfirm)) {
    setWindowTitle(QString::fromStdString(content_.title));

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
    auto* title = new QLabel(this);
    title->setFont(TovoTheme::headlineFont(font()));
    QtText::setWrappedText(title, QString::fromStdString(content_.title));
    texts->addWidget(title);
    auto* message = new QLabel(this);
    QtText::setWrappedText(message, QString::fromStdString(content_.message));
    texts->addWidget(message);
    auto* subline = SheetParts::secondaryText(QString::fromStdString(content_.subline), this);
    subline->setFont(TovoTheme::subheadlineFont(font()));
    texts->addWidget(subline);
    header->addLayout(texts, 1);
    headerLayout()->addLayout(header);

    // What Tovo will do and what is left to the user, one card each.
    for (const ReleaseReviewEntry& entry : content_.entries) {
        const auto process =
            std::find_if(blockers.begin(), blockers.end(), [&](const BlockingProcess& candidate) {
                return candidate.pid == entry.processID;
            });
        std::vector<std::string> lines;
        if (process != blockers.end()) {
            lines =
                blockerRowContent(presentation, *process, std::nullopt, std::nullopt, std::nullopt)
                    .detailLines;
        }
        const auto plan = releasePlanFor(entry.processID, releasePlans);
        const bool eligible = plan && plan->strategy == ReleaseStrategy::quitApplication;
        auto* row = new SheetEntry({entry.symbol,
                                    eligible ? SymbolColor::green : SymbolColor::orange,
                                    entry.name,
                                    {entry.message},
                                    std::move(lines),
                                    entry.showDetailsLabel,
                                    entry.hideDetailsLabel,
                                    !eligible},
                                   list()->widget());
        listLayout()->addWidget(row);
        entries_.push_back(row);
    }
    for (const CauseReviewEntry& entry : content_.causeEntries) {
        auto* row = new SheetEntry({entry.symbol,
                                    entry.tovoActs ? SymbolColor::green : SymbolColor::orange,
                                    entry.title,
                                    {entry.sentence, entry.message},
                                    {},
                                    {},
                                    {},
                                    !entry.tovoActs},
                                   list()->widget());
        listLayout()->addWidget(row);
        entries_.push_back(row);
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
    setDefaultAndFocus(confirm_, confirm_);
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
