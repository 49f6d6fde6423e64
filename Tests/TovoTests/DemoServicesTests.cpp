#include "Support/ModelBuilders.hpp"
#include "Support/RecordingLogger.hpp"
#include "Support/TaskRunning.hpp"
#include "Tovo/Support/DemoWorkflowFactory.hpp"
#include "Tovo/Support/DiskCardPresentation.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <gtest/gtest.h>

#include <utility>

namespace tovo {
namespace {

using Phase = EjectionPhase;

// One demo run through the real workflow, on manual executors and virtual time;
// it starts by listing the sample disk and trying the first eject.
struct DemoRun {
    ManualExecutor main;
    std::shared_ptr<ManualExecutor> isolation = std::make_shared<ManualExecutor>();
    VirtualClock clock{main};
    testing::RecordingLogger logger;
    std::vector<Phase> phases;
    std::unique_ptr<TovoWorkflow> workflow;

    explicit DemoRun(DemoScenarioKind scenario)
        : workflow(makeDemoWorkflow(scenario, clock, logger, main, isolation)) {
        // Observers hear of a change before it happens: the old values in order,
        // then the current one, make the whole sequence.
        workflow->addObserver([this](WorkflowProperty property) {
            if (property == WorkflowProperty::phase) {
                record(workflow->phase());
            }
        });
        run(workflow->refresh());
        EXPECT_EQ(workflow->selectedDiskID(), "demo-disk");
        run(workflow->attemptEject());
    }

    /// Runs `operation` to its end, moving virtual time on whenever it sleeps.
    void run(Task<void> operation) {
        const auto handle = spawn(main, std::move(operation));
        for (int step = 0; step < 1000 && !handle.isDone(); ++step) {
            while (main.runAll() + isolation->runAll() > 0) {
            }
            if (!handle.isDone() && !clock.advanceToNextDeadline()) {
                break;
            }
        }
        ASSERT_TRUE(handle.isDone()) << "the operation stalled";
    }

    void record(const Phase& phase) {
        if (phases.empty() || !(phases.back() == phase)) {
            phases.push_back(phase);
        }
    }

    /// Every phase since the last call, the current one last.
    std::vector<Phase> takePhases() {
        record(workflow->phase());
        return std::exchange(phases, {});
    }
};

const auto ejectedDisk = Phase::ejected("345-BACKUP");

TEST(DemoWorkflow, TovoableAppIsAskedToQuitThenTheDiskEjects) {
    DemoRun demo(DemoScenarioKind::tovoable);
    auto& workflow = *demo.workflow;
    EXPECT_EQ(demo.takePhases(), (std::vector{Phase::ready(), Phase::ejecting(),
                                              Phase::diagnosing(), Phase::blocked()}));

    demo.run(workflow.performSafeTovo());
    EXPECT_EQ(demo.takePhases(),
              (std::vector{Phase::blocked(), Phase::releasing(), Phase::retrying(), ejectedDisk}));
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow.releaseAttempts()[0].disposition, ReleaseDisposition::requested);
    EXPECT_EQ(workflow.releaseAttempts()[0].message, "Tovo asked the app to quit.");
    EXPECT_EQ(demo.clock.now(), std::chrono::milliseconds(250)) << "one settle period";
}

TEST(DemoWorkflow, BlockedReleaseNeedsTheUserAndOnlyAStopClearsIt) {
    DemoRun demo(DemoScenarioKind::blocked);
    auto& workflow = *demo.workflow;
    demo.takePhases();

    demo.run(workflow.performSafeTovo());
    EXPECT_EQ(demo.takePhases(),
              (std::vector{Phase::blocked(), Phase::releasing(), Phase::blocked()}));
    EXPECT_EQ(workflow.blockers(), DemoData::protectedBlockers());
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow.releaseAttempts()[0].disposition, ReleaseDisposition::needsManualAction);
    EXPECT_EQ(workflow.releaseAttempts()[0].message, "Stop the virtual machine, then try again.");

    demo.run(workflow.performStop(DemoData::protectedBlockers().front()));
    EXPECT_EQ(demo.takePhases(), (std::vector{Phase::blocked(), Phase::stopping("Virtual Machine"),
                                              Phase::retrying(), ejectedDisk}));
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow.releaseAttempts()[0].message,
              "Tovo sent a stop request to Virtual Machine.");
}

TEST(DemoWorkflow, ReadyDiskEjectsAtOnceAndRefreshListsItAgain) {
    DemoRun demo(DemoScenarioKind::ready);
    auto& workflow = *demo.workflow;
    EXPECT_EQ(demo.takePhases(), (std::vector{Phase::ready(), Phase::ejecting(), ejectedDisk}));
    EXPECT_TRUE(workflow.disks().empty()) << "the ejected disk leaves the list";

    demo.run(workflow.refresh());
    EXPECT_EQ(workflow.phase(), ejectedDisk) << "the success screen is dismissed first";

    demo.run(workflow.resetResult());
    EXPECT_EQ(workflow.phase(), Phase::ready());
    ASSERT_EQ(workflow.disks().size(), 1u);
    EXPECT_EQ(workflow.disks()[0].displayName, "345-BACKUP");
    EXPECT_EQ(DiskCardPresentation::detailText(workflow.disks()[0]), "1 TB \u00B7 APFS");
}

const auto virtualMachine = DemoData::protectedBlockers().front();
const auto preview = DemoData::tovoableBlockers().front();

TEST(DemoScenario, ReadsOnItsOwnExecutorAndResumesOnTheMainOne) {
    ManualExecutor main;
    const auto isolation = std::make_shared<ManualExecutor>();
    DemoScenario scenario(DemoData::tovoableBlockers(), main, isolation);
    std::optional<std::vector<BlockingProcess>> read;
    auto body = [](DemoScenario& source, auto& out) -> Task<void> {
        out = co_await source.activeBlockers();
    };
    spawn(main, body(scenario, read));
    main.runAll();
    EXPECT_EQ(isolation->runAll(), 1u);
    EXPECT_FALSE(read) << "the result is delivered on the main executor";
    EXPECT_EQ(main.runAll(), 1u);
    EXPECT_EQ(read, DemoData::tovoableBlockers());
}

TEST(DemoProcessReleaser, AsksOnlyOrdinaryAppsWhenAllowedAndAlwaysOffersAStop) {
    ManualExecutor main;
    const auto scenario = std::make_shared<DemoScenario>(std::vector<BlockingProcess>{}, main);
    DemoProcessReleaser automatic(scenario, true);
    DemoProcessReleaser manual(scenario, false);
    const auto release = [&](const DemoProcessReleaser& releaser, BlockingProcess process) {
        return testing::runToEnd(main, releaser.planRelease({std::move(process)})).at(0);
    };
    const auto stop = [&](BlockingProcess process) {
        return testing::runToEnd(main, manual.planStop(std::move(process)));
    };
    const auto stopVM = "Stop the virtual machine, then try again.";
    EXPECT_EQ(release(automatic, preview),
              (ProcessReleasePlan{63120, "Preview", ReleaseStrategy::quitApplication,
                                  "Tovo will ask this app to quit."}));
    EXPECT_EQ(
        release(automatic, testing::makeProcess(5, "my-VIRTUALIZATION.virtualmachine-2")).message,
        stopVM);
    EXPECT_EQ(release(manual, preview).message, stopVM);
    EXPECT_EQ(stop(virtualMachine),
              (ProcessStopPlan{90294, "Virtual Machine", StopMethod::terminateProcess,
                               "Tovo will send one stop request (SIGTERM) to Virtual Machine. Most "
                               "tools stop cleanly. Tovo never forces a kill.",
                               "A running virtual machine can lose unsaved state. Stop it from its "
                               "own app if you can."}));
    EXPECT_EQ(stop(preview).method, StopMethod::quitApplication);
}

} // namespace
} // namespace tovo
