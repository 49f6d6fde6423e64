#include "Tovo/Views/ContentView.hpp"

#include "Tovo/Support/Announcements.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/MenuPresentation.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Views/ActionBar.hpp"
#include "Tovo/Views/DiskCard.hpp"
#include "Tovo/Views/DiskSelectorView.hpp"
#include "Tovo/Views/HeaderView.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StatusPanel.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <QApplication>
#include <QHBoxLayout>
#include <QPainter>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tovo {

namespace {

constexpr int padding = 22;
constexpr int spacing = 18;
constexpr int maximumColumnWidth = 560;

} // namespace

ContentView::ContentView(Environment environment, QWidget* parent)
    : QWidget(parent)
    , workflow_(environment.workflow)
    , executor_(environment.mainExecutor)
    , presentation_(environment.presentation)
    , applications_(environment.applications)
    , logger_(environment.logger)
    , reduceMotion_(environment.reduceMotion)
    , bridge_(environment.workflow)
    , header_(new HeaderView([this] { refresh(); }, environment.isDemo))
    , diskSelector_(new DiskSelectorView(
          [this](const std::string& id) { workflow_.selectDisk(id); }, reduceMotion_))
    , statusPanel_(
          new StatusPanel(presentation_, {[this](const BlockingProcess& p) { showApplication(p); },
                                          [this](const BlockingProcess& p) { requestStop(p); },
                                          {}}))
    , actionBar_(new ActionBar({[this] { attemptEject(); }, [this] { openTovoConfirmation(); },
                                [this] { refresh(); }, [this] { resetResult(); }}))
    , scroll_(new QScrollArea(this))
    , column_(new QWidget())
    , announcer_(statusPanel_, logger_)
    , lastPhase_(workflow_.phase())
    , writeOutWatch_(environment.writeOutWatch)
    , focusedPhase_(workflow_.phase()) {
    // The column goes into the scroll area while empty: the area sizes its widget
    // when given one, and sizing the filled column here would lay out every label
    // once more before the window knows its width.
    auto* canvas = new QWidget();
    scroll_->setWidget(canvas);
    scroll_->setWidgetResizable(true);
    // The scroll area fills its widget; the window's glow must show through.
    canvas->setAutoFillBackground(false);
    column_->setAutoFillBackground(false);
    // However wide the window, the column keeps its width and stays in the middle;
    // the window's own minimum keeps it from being narrower than its content.
    column_->setMaximumWidth(maximumColumnWidth);
    auto* centred = new QHBoxLayout(canvas);
    centred->setContentsMargins(0, 0, 0, 0);
    centred->setSpacing(0);
    centred->addStretch(1);
    centred->addWidget(column_, 100);
    centred->addStretch(1);

    auto* layout = new QVBoxLayout(column_);
    layout->setContentsMargins(padding, padding, padding, padding);
    layout->setSpacing(spacing);
    layout->addWidget(header_);
    layout->addWidget(diskSelector_);
    layout->addWidget(statusPanel_);
    layout->addWidget(actionBar_);
    layout->addStretch(1);

    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    // The sections take the focus; the area that scrolls them is no stop of its own.
    scroll_->setFocusPolicy(Qt::NoFocus);
    scroll_->viewport()->setAutoFillBackground(false);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll_);

    connect(&bridge_, &WorkflowBridge::changed, this, &ContentView::render);
    render();
}

ContentView::~ContentView() {
    // Sheets are separate windows; they must not outlive the state they point at.
    delete tovoSheet_.data();
    delete stopSheet_.data();
}

bool ContentView::reduceMotionRequested() {
    const char* value = std::getenv("TOVO_REDUCE_MOTION");
    return value != nullptr && *value != '\0' && std::strcmp(value, "0") != 0;
}

Task<void> ContentView::refreshAndNote(TovoWorkflow& workflow, QPointer<ContentView> view,
                                       std::uint64_t ticket) {
    co_await workflow.refresh();
    if (view != nullptr) {
        view->noteListed(ticket);
    }
}

void ContentView::refresh() {
    spawn(executor_, refreshAndNote(workflow_, this, ++refreshTicket_));
}

void ContentView::noteListed(std::uint64_t ticket) {
    // An earlier listing that a later one overtook says nothing about the disks.
    if (hasListed_ || ticket != refreshTicket_) {
        return;
    }
    hasListed_ = true;
    render();
}

void ContentView::attemptEject() {
    spawn(executor_, workflow_.attemptEject());
}

void ContentView::resetResult() {
    spawn(executor_, workflow_.resetResult());
}

void ContentView::openTovoConfirmation() {
    showsTovoConfirmation_ = true;
    presentSheets();
}

void ContentView::requestStop(const BlockingProcess& process) {
    stopCandidate_ = process;
    presentSheets();
}

void ContentView::showApplication(const BlockingProcess& process) {
    if (applications_ == nullptr) {
        return;
    }
    if (const auto application = presentation_.showableApplication(process)) {
        applications_->activate(application->pid);
    }
}

void ContentView::render() {
    const EjectionPhase& phase = workflow_.phase();
    const std::optional<ExternalDisk> disk = workflow_.selectedDisk();
    const bool busy = phase.isBusy();
    QWidget* focusBefore = focusWidget();
    const bool firstListing = hasListed_ && !listingSeen_;
    listingSeen_ = hasListed_;

    // The header's refresh does what the menu's does, and is off when it is.
    header_->setRefreshEnabled(MenuPresentation::isRefreshCommandEnabled(phase));
    diskSelector_->setVisible(!workflow_.disks().empty());
    diskSelector_->setState(workflow_.disks(), workflow_.selectedDiskID(), !busy);
    statusPanel_->setState({phase, disk, workflow_.blockers(), workflow_.releasePlans(),
                            workflow_.stopPlans(), workflow_.releaseAttempts(),
                            workflow_.busyCauses(), workflow_.causeAttempts(), hasListed_});
    const auto& causes = workflow_.busyCauses();
    actionBar_->setState(phase, disk, workflow_.releasePlans(),
                         std::any_of(causes.begin(), causes.end(), [](const BusyCause& cause) {
                             return cause.plan.action != BusyCauseAction::none;
                         }));
    const bool phaseChanged = !(phase == focusedPhase_);
    focusedPhase_ = phase;
    announcePhaseChange();
    showWriteOut();
    updateTabOrder();
    placeFocus(focusBefore, phaseChanged, firstListing);
    presentSheets();
    emit rendered();
}

void ContentView::updateTabOrder() {
    // Rows and cards are made anew as the state changes, which would put them last
    // in the chain: the order is the screen's, top to bottom, every time.
    std::vector<QWidget*> order{header_->refreshButton()};
    for (DiskCard* card : diskSelector_->cards()) {
        order.push_back(card);
    }
    for (QWidget* widget : statusPanel_->focusOrder()) {
        order.push_back(widget);
    }
    order.push_back(actionBar_->safeButton());
    order.push_back(actionBar_->primaryButton());
    for (std::size_t index = 1; index < order.size(); ++index) {
        QWidget::setTabOrder(order[index - 1], order[index]);
    }
}

void ContentView::placeFocus(QWidget* before, bool phaseChanged, bool firstListing) {
    // Where the focus was is the user's choice, unless that widget went away or the
    // focus was on what the phase offers (or on nothing).
    const bool gone =
        before == nullptr || before == scroll_ || !before->isVisible() || !before->isEnabled();
    const bool onPhase =
        before != nullptr && (before == statusPanel_ || actionBar_->isAncestorOf(before));
    if (workflow_.phase().isBusy()) {
        // Nothing to press while Tovo works: the status says what is going on.
        if (gone || (phaseChanged && onPhase)) {
            statusPanel_->setFocus(Qt::OtherFocusReason);
        }
        return;
    }
    QWidget* target = actionBar_->focusTarget();
    if (target == nullptr) {
        return;
    }
    // Qt gives the first button the focus when the window opens; the disks' first
    // listing hands it to the action.
    const bool untouched = gone || before == header_->refreshButton();
    if (gone || (phaseChanged && onPhase) || (firstListing && untouched)) {
        target->setFocus(Qt::OtherFocusReason);
    }
}

void ContentView::announcePhaseChange() {
    const EjectionPhase& phase = workflow_.phase();
    if (phase == lastPhase_) {
        return;
    }
    lastPhase_ = phase;
    if (const auto sentence = announcement(phase)) {
        announcer_.announce(*sentence);
    }
}

std::optional<WriteOutProgress> ContentView::writeOutProgress() const {
    return writeOutWatch_ != nullptr ? writeOutWatch_->progress() : std::nullopt;
}

void ContentView::showWriteOut() {
    const std::optional<ExternalDisk> disk = workflow_.selectedDisk();
    if (writeOutWatch_ != nullptr) {
        writeOutWatch_->follow(workflow_.phase(), disk);
    }
    auto notice = WriteOutPresentation::notice(workflow_.phase(), disk, writeOutProgress());
    statusPanel_->setWriteOut(notice);
    if (const auto sentence = WriteOutPresentation::announcement(writeOutNotice_, notice, disk)) {
        announcer_.announce(*sentence);
    }
    writeOutNotice_ = std::move(notice);
}

void ContentView::presentSheets() {
    const std::optional<ExternalDisk> disk = workflow_.selectedDisk();
    if (showsTovoConfirmation_ && disk && tovoSheet_ == nullptr) {
        tovoSheet_ = new SafeTovoConfirmationView(
            presentation_, *disk, workflow_.blockers(), workflow_.releasePlans(),
            workflow_.busyCauses(), [this] { cancelTovo(); }, [this] { confirmTovo(); }, this);
        tovoSheet_->setAttribute(Qt::WA_DeleteOnClose);
        tovoSheet_->open();
    }
    if (stopCandidate_ && stopSheet_ == nullptr) {
        stopSheet_ = new StopProcessConfirmationView(
            presentation_, *stopCandidate_, stopPlanFor(stopCandidate_->pid, workflow_.stopPlans()),
            releasePlanFor(stopCandidate_->pid, workflow_.releasePlans()), [this] { cancelStop(); },
            [this] { confirmStop(); }, this);
        stopSheet_->setAttribute(Qt::WA_DeleteOnClose);
        stopSheet_->open();
    }
}

void ContentView::confirmTovo() {
    showsTovoConfirmation_ = false;
    tovoSheet_ = nullptr;
    spawn(executor_, workflow_.performSafeTovo());
}

void ContentView::cancelTovo() {
    showsTovoConfirmation_ = false;
    tovoSheet_ = nullptr;
}

void ContentView::confirmStop() {
    // The process remembered when the sheet opened, whatever the list says now.
    const std::optional<BlockingProcess> process = std::move(stopCandidate_);
    stopCandidate_.reset();
    stopSheet_ = nullptr;
    if (process) {
        spawn(executor_, workflow_.performStop(*process));
    }
}

void ContentView::cancelStop() {
    stopCandidate_.reset();
    stopSheet_ = nullptr;
}

void ContentView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    TovoTheme::paintWindowBackground(painter, rect(), palette(), layoutDirection());
}

void ContentView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!appeared_) {
        appeared_ = true;
        refresh();
    }
}

} // namespace tovo
