#include "Tovo/Views/ContentView.hpp"

#include "Tovo/Support/Announcements.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Views/ActionBar.hpp"
#include "Tovo/Views/DiskSelectorView.hpp"
#include "Tovo/Views/HeaderView.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StatusPanel.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <QPainter>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tovo {

namespace {

constexpr int padding = 22;
constexpr int spacing = 18;

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
    , header_(new HeaderView([this] { refresh(); }))
    , diskSelector_(new DiskSelectorView(
          [this](const std::string& id) { workflow_.selectDisk(id); }, reduceMotion_))
    , statusPanel_(
          new StatusPanel(presentation_, {[this](const BlockingProcess& p) { showApplication(p); },
                                          [this](const BlockingProcess& p) { requestStop(p); },
                                          {}}))
    , actionBar_(new ActionBar({[this] { attemptEject(); }, [this] { openTovoConfirmation(); },
                                [this] { refresh(); }, [this] { resetResult(); }}))
    , scroll_(new QScrollArea(this))
    , announcer_(statusPanel_, logger_)
    , lastPhase_(workflow_.phase())
    , writeOutWatch_(environment.writeOutWatch) {
    setMinimumSize(420, 420);
    setMaximumSize(560, 720);

    // The column goes into the scroll area while empty: the area sizes its widget
    // when given one, and sizing the filled column here would lay out every label
    // once more before the window knows its width.
    auto* column = new QWidget();
    scroll_->setWidget(column);
    scroll_->setWidgetResizable(true);
    // The scroll area fills its widget; the window's glow must show through.
    column->setAutoFillBackground(false);
    auto* layout = new QVBoxLayout(column);
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

void ContentView::refresh() {
    spawn(executor_, workflow_.refresh());
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

    header_->setRefreshEnabled(!busy);
    diskSelector_->setVisible(!workflow_.disks().empty());
    diskSelector_->setState(workflow_.disks(), workflow_.selectedDiskID(), !busy);
    statusPanel_->setState({phase, disk, workflow_.blockers(), workflow_.releasePlans(),
                            workflow_.stopPlans(), workflow_.releaseAttempts(),
                            workflow_.busyCauses(), workflow_.causeAttempts()});
    const auto& causes = workflow_.busyCauses();
    actionBar_->setState(phase, disk, workflow_.releasePlans(),
                         std::any_of(causes.begin(), causes.end(), [](const BusyCause& cause) {
                             return cause.plan.action != BusyCauseAction::none;
                         }));
    announcePhaseChange();
    showWriteOut();
    presentSheets();
    emit rendered();
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
            [this] { cancelStop(); }, [this] { confirmStop(); }, this);
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
