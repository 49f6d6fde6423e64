#include "DemoTestSupport.hpp"
#include "Support/RecordingLogger.hpp"
#include "Tovo/Support/DemoWorkflowFactory.hpp"
#include "Tovo/Support/StatusPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using Phase = EjectionPhase;

// One demo run through the real workflow, on manual executors and virtual time.
class DemoRun {
public:
    explicit DemoRun(DemoScenarioKind scenario)
        : workflow_(
              makeDemoWorkflow(scenario, clock_, logger_, executors_.main, executors_.isolation)) {
        // Observers hear of a change before it happens: the old values in order,
        // then the current one, make the whole sequence.
        workflow_->addObserver([this](WorkflowProperty property) {
            if (property == WorkflowProperty::phase) {
                record(workflow_->phase());
            }
        });
    }

    TovoWorkflow& workflow() { return *workflow_; }

    /// Runs `operation` to its end, moving virtual time on whenever it sleeps.
    void run(Task<void> operation) {
        const auto handle = spawn(executors_.main, std::move(operation));
        for (int step = 0; step < 1000 && !handle.isDone(); ++step) {
            executors_.settle();
            if (!handle.isDone() && !clock_.advanceToNextDeadline()) {
                break;
            }
        }
        ASSERT_TRUE(handle.isDone()) << "the operation stalled";
    }

    /// Every phase since the last call, the current one last.
    std::vector<Phase> takePhases() {
        record(workflow_->phase());
        auto seen = std::move(phases_);
        phases_.clear();
        return seen;
    }

    std::chrono::nanoseconds elapsed() const { return clock_.now(); }

private:
    void record(const Phase& phase) {
        if (phases_.empty() || !(phases_.back() == phase)) {
            phases_.push_back(phase);
        }
    }

    testing::DemoExecutors executors_;
    VirtualClock clock_{executors_.main};
    testing::RecordingLogger logger_;
    std::unique_ptr<TovoWorkflow> workflow_;
    std::vector<Phase> phases_;
};

// Lists the sample disk and tries the first eject.
void startAndEject(DemoRun& demo) {
    demo.run(demo.workflow().refresh());
    ASSERT_EQ(demo.workflow().selectedDiskID(), "demo-disk");
    demo.run(demo.workflow().attemptEject());
}

const auto ejectedDisk = Phase::ejected("345-BACKUP");

TEST(DemoWorkflow, TovoableAppIsAskedToQuitThenTheDiskEjects) {
    DemoRun demo(DemoScenarioKind::tovoable);
    startAndEject(demo);
    auto& workflow = demo.workflow();
    EXPECT_EQ(demo.takePhases(), (std::vector{Phase::ready(), Phase::ejecting(),
                                              Phase::diagnosing(), Phase::blocked()}));
    EXPECT_EQ(workflow.blockers(), DemoData::tovoableBlockers());
    ASSERT_EQ(workflow.releasePlans().size(), 1u);
    EXPECT_EQ(workflow.releasePlans()[0].strategy, ReleaseStrategy::quitApplication);
    EXPECT_EQ(StatusPresentation::content(workflow.phase(), workflow.selectedDisk(),
                                          workflow.blockers(), workflow.releasePlans())
                  .message,
              "Review what Tovo can quit before you continue.");

    demo.run(workflow.performSafeTovo());
    EXPECT_EQ(demo.takePhases(),
              (std::vector{Phase::blocked(), Phase::releasing(), Phase::retrying(), ejectedDisk}));
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow.releaseAttempts()[0].disposition, ReleaseDisposition::requested);
    EXPECT_EQ(workflow.releaseAttempts()[0].message, "Tovo asked the app to quit.");
    EXPECT_EQ(demo.elapsed(), std::chrono::milliseconds(250)) << "one settle period";
}

TEST(DemoWorkflow, BlockedReleaseNeedsTheUserAndOnlyAStopClearsIt) {
    DemoRun demo(DemoScenarioKind::blocked);
    startAndEject(demo);
    auto& workflow = demo.workflow();
    ASSERT_EQ(workflow.phase(), Phase::blocked());
    EXPECT_EQ(workflow.releasePlans()[0].strategy, ReleaseStrategy::manualAction);
    ASSERT_EQ(workflow.stopPlans().size(), 1u);
    EXPECT_EQ(workflow.stopPlans()[0].method, StopMethod::terminateProcess);
    demo.takePhases();

    demo.run(workflow.performSafeTovo());
    EXPECT_EQ(demo.takePhases(),
              (std::vector{Phase::blocked(), Phase::releasing(), Phase::blocked()}));
    EXPECT_EQ(workflow.blockers(), DemoData::protectedBlockers());
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow.releaseAttempts()[0].disposition, ReleaseDisposition::needsManualAction);
    EXPECT_EQ(workflow.releaseAttempts()[0].message, "Stop the virtual machine, then try again.");

    demo.run(workflow.attemptEject());
    EXPECT_EQ(workflow.phase(), Phase::blocked()) << "checking again does not help";
    demo.takePhases();

    demo.run(workflow.performStop(DemoData::protectedBlockers().front()));
    EXPECT_EQ(demo.takePhases(), (std::vector{Phase::blocked(), Phase::stopping("Virtual Machine"),
                                              Phase::retrying(), ejectedDisk}));
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow.releaseAttempts()[0].message,
              "Tovo sent a stop request to Virtual Machine.");
}

TEST(DemoWorkflow, TovoableStopAlsoClearsTheDisk) {
    DemoRun demo(DemoScenarioKind::tovoable);
    startAndEject(demo);
    demo.run(demo.workflow().performStop(DemoData::tovoableBlockers().front()));
    EXPECT_EQ(demo.workflow().phase(), ejectedDisk);
    EXPECT_EQ(demo.workflow().releaseAttempts().at(0).processName, "Preview");
}

TEST(DemoWorkflow, ReadyDiskEjectsAtOnceAndRefreshListsItAgain) {
    DemoRun demo(DemoScenarioKind::ready);
    startAndEject(demo);
    auto& workflow = demo.workflow();
    EXPECT_EQ(demo.takePhases(), (std::vector{Phase::ready(), Phase::ejecting(), ejectedDisk}));
    EXPECT_TRUE(workflow.disks().empty()) << "the ejected disk leaves the list";

    demo.run(workflow.refresh());
    EXPECT_EQ(workflow.phase(), ejectedDisk) << "the success screen is dismissed first";

    demo.run(workflow.resetResult());
    EXPECT_EQ(workflow.phase(), Phase::ready());
    ASSERT_EQ(workflow.disks().size(), 1u);
    EXPECT_EQ(workflow.disks()[0].displayName, "345-BACKUP");
    EXPECT_EQ(workflow.selectedDiskID(), "demo-disk");
    EXPECT_EQ(demo.elapsed(), std::chrono::nanoseconds(0));
}

} // namespace
} // namespace tovo
