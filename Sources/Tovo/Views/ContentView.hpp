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

#include <optional>

class QScrollArea;

namespace tovo {

class ActionBar;
class DiskSelectorView;
class HeaderView;
class StatusPanel;

/// The one screen: header, disk selector, status panel and action bar over the
/// accent-lit window background. It owns only the screen state (which review sheet
/// is open); everything else is drawn from the workflow, and every action starts a
/// workflow operation as a task on the main executor.
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
    };

    explicit ContentView(Environment environment, QWidget* parent = nullptr);
    ~ContentView() override;

    WorkflowBridge& bridge() { return bridge_; }
    HeaderView* header() const { return header_; }
    DiskSelectorView* diskSelector() const { return diskSelector_; }
    StatusPanel* statusPanel() const { return statusPanel_; }
    ActionBar* actionBar() const { return actionBar_; }
    QScrollArea* scrollArea() const { return scroll_; }
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
    PhaseAnnouncer announcer_;
    EjectionPhase lastPhase_;
    WriteOutWatch* writeOutWatch_;
    std::optional<WriteOutNotice> writeOutNotice_;
    bool appeared_ = false;

    bool showsTovoConfirmation_ = false;
    std::optional<BlockingProcess> stopCandidate_;
    QPointer<SafeTovoConfirmationView> tovoSheet_;
    QPointer<StopProcessConfirmationView> stopSheet_;
};

} // namespace tovo
