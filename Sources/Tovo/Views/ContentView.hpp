#pragma once

#include "Tovo/Support/BackgroundApplicationLookup.hpp"
#include "Tovo/Support/ProcessPresentation.hpp"
#include "Tovo/Support/Qt/PhaseAnnouncer.hpp"
#include "Tovo/Support/Qt/WorkflowBridge.hpp"
#include "Tovo/Support/WriteOutWatch.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"
#include "TovoCore/Async/Executor.hpp"

#include <QPointer>
#include <QWidget>

#include <cstdint>
#include <optional>

class QScrollArea;

namespace tovo {

class ActionBar;
class DiskSelectorView;
class HeaderView;
class StatusPanel;

/// The one screen: header, disk selector, status panel and action bar, in a column
/// of 420 to 560 pixels centred over the accent-lit background, which fills the
/// window however large it is made. It owns only the screen state (which review
/// sheet is open, whether the disks were listed yet); everything else is drawn from
/// the workflow, and every action starts a workflow operation as a task on the main
/// executor. Tabbing follows the screen from top to bottom; the focus rests on the
/// action that fits the phase, or on the status while Tovo works.
class ContentView final : public QWidget {
    Q_OBJECT

public:
    struct Environment {
        TovoWorkflow& workflow;
        Executor& mainExecutor;
        const ProcessPresentation& presentation;
        BackgroundApplicationLookup* applications; ///< brings apps to the front; absent in demo
        Logger& logger;
        bool reduceMotion;
        WriteOutWatch* writeOutWatch = nullptr; ///< samples the disk while it is ejected
        bool isDemo = false;                    ///< sample data: the header says so
    };

    explicit ContentView(Environment environment, QWidget* parent = nullptr);
    ~ContentView() override;

    WorkflowBridge& bridge() { return bridge_; }
    HeaderView* header() const { return header_; }
    DiskSelectorView* diskSelector() const { return diskSelector_; }
    StatusPanel* statusPanel() const { return statusPanel_; }
    ActionBar* actionBar() const { return actionBar_; }
    QScrollArea* scrollArea() const { return scroll_; }
    /// The column that holds the screen's sections.
    QWidget* column() const { return column_; }
    /// True once a listing of the disks has answered.
    bool hasListedDisks() const { return hasListed_; }
    PhaseAnnouncer& announcer() { return announcer_; }
    SafeTovoConfirmationView* tovoConfirmation() const { return tovoSheet_; }
    StopProcessConfirmationView* stopConfirmation() const { return stopSheet_; }
    bool showsTovoConfirmation() const { return showsTovoConfirmation_; }
    const std::optional<BlockingProcess>& stopCandidate() const { return stopCandidate_; }
    /// What the samples of the eject under way showed; none without one.
    std::optional<WriteOutProgress> writeOutProgress() const;

    /// Reduce motion when TOVO_REDUCE_MOTION is set to anything but "0": Qt has no
    /// portable reading of the desktop's setting, so the user states it here.
    static bool reduceMotionRequested();

public slots:
    void refresh();
    void attemptEject();
    void resetResult();
    void openTovoConfirmation();
    void requestStop(const tovo::BlockingProcess& process);
    void showApplication(const tovo::BlockingProcess& process);

signals:
    /// After the screen was redrawn from the workflow's state.
    void rendered();

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void render();
    /// Puts the focus where the phase wants it, unless the user placed it elsewhere;
    /// `before` is where it was before the redraw.
    void placeFocus(QWidget* before, bool phaseChanged, bool firstListing);
    void updateTabOrder();
    void noteListed(std::uint64_t ticket);
    static Task<void> refreshAndNote(TovoWorkflow& workflow, QPointer<ContentView> view,
                                     std::uint64_t ticket);
    void announcePhaseChange();
    void showWriteOut();
    void presentSheets();
    void confirmTovo();
    void cancelTovo();
    void confirmStop();
    void cancelStop();

    TovoWorkflow& workflow_;
    Executor& executor_;
    const ProcessPresentation& presentation_;
    BackgroundApplicationLookup* applications_;
    Logger& logger_;
    bool reduceMotion_;

    WorkflowBridge bridge_;
    HeaderView* header_;
    DiskSelectorView* diskSelector_;
    StatusPanel* statusPanel_;
    ActionBar* actionBar_;
    QScrollArea* scroll_;
    QWidget* column_;
    PhaseAnnouncer announcer_;
    EjectionPhase lastPhase_;
    WriteOutWatch* writeOutWatch_;
    std::optional<WriteOutNotice> writeOutNotice_;
    bool appeared_ = false;
    bool hasListed_ = false;
    bool listingSeen_ = false; ///< the redraws have placed the focus after the listing
    std::uint64_t refreshTicket_ = 0;
    EjectionPhase focusedPhase_;

    bool showsTovoConfirmation_ = false;
    std::optional<BlockingProcess> stopCandidate_;
    QPointer<SafeTovoConfirmationView> tovoSheet_;
    QPointer<StopProcessConfirmationView> stopSheet_;
};

} // namespace tovo
