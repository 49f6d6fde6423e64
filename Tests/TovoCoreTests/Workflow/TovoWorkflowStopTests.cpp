#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Entry = RecordingLogger::Entry;
using Level = LogLevel;
using Processes = std::vector<BlockingProcess>;

const ExternalDisk photos = makeDisk(1, "Photos");
const ExternalDisk backup = makeDisk(2, "Backup");
const BlockingProcess editor = makeProcess(501, "editor");
const BlockingProcess shell = makeProcess(503, "bash");

ProcessStopPlan stopPlan(const BlockingProcess& process, StopMethod method) {
    return {process.pid, process.command + " (plan)", method, "Tovo will stop it.", std::nullopt};
}

TEST(TovoWorkflowStopTest, FullStopFlowEndsOnTheSuccessScreen) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.reachBlocked({editor, shell});
    h.stopper->planner = [](const BlockingProcess& p) {
        return stopPlan(p, StopMethod::terminateProcess);
    };

    auto operation = h.start(workflow.performStop(editor));
    EXPECT_EQ(workflow.phase(), EjectionPhase::stopping("editor (plan)"));
    EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());

    h.diagnoses->resolve({editor, shell});
    h.run();
    EXPECT_EQ(h.stopper->stops.pendingArguments(), editor);
    const auto sent = attemptFor(editor, ReleaseDisposition::requested, "Sent one stop request.");
    h.stopper->stops.resolve(sent);
    h.run();
    EXPECT_EQ(workflow.releaseAttempts(), std::vector{sent});

    h.advance(1200ms);
    h.diagnoses->resolve({});
    h.run();
    EXPECT_EQ(workflow.phase(), EjectionPhase::retrying());
    h.ejector->ejects.resolve();
    h.run();

    EXPECT_TRUE(operation.isDone());
    EXPECT_EQ(workflow.phase(), EjectionPhase::ejected("Photos"));
    EXPECT_EQ(workflow.releaseAttempts(), std::vector{sent});
    EXPECT_EQ(workflow.disks(), std::vector{backup});
    EXPECT_EQ(h.stopper->stops.callCount(), 1u);
    EXPECT_EQ(h.logger.entries(),
              (std::vector<Entry>{{Level::info, "Stop requested method=terminateProcess"},
                                  {Level::info, "Stop request completed disposition=requested"}}));
}

// Calls that must do nothing at all: no log, no phase change, no service call.
struct RefusedCase {
    const char* label;
    bool withStopper;
    bool blocked;
    BlockingProcess chosen;
    StopMethod method;
    friend void PrintTo(const RefusedCase& c, std::ostream* os) { *os << c.label; }
};

class TovoWorkflowRefusedStopTest : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(TovoWorkflowRefusedStopTest, DoesNothing) {
    const auto& param = GetParam();
    WorkflowHarness h(WorkflowOptions{.withStopper = param.withStopper});
    auto& workflow = *h.workflow;
    if (param.blocked) {
        h.reachBlocked({editor});
    } else {
        h.listDisks({photos});
        h.logger.clear();
    }
    if (h.stopper) {
        h.stopper->planner = [method = param.method](const BlockingProcess& p) {
            return stopPlan(p, method);
        };
    }
    const auto phase = workflow.phase();
    const auto diagnoses = h.diagnoses->callCount();

    h.start(workflow.performStop(param.chosen));

    EXPECT_EQ(workflow.phase(), phase);
    EXPECT_EQ(h.diagnoses->callCount(), diagnoses);
    EXPECT_THAT(h.logger.entries(), IsEmpty());
    if (h.stopper) {
        EXPECT_EQ(h.stopper->stops.callCount(), 0u);
    } else {
        EXPECT_THAT(workflow.stopPlans(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Calls, TovoWorkflowRefusedStopTest,
    ::testing::Values(RefusedCase{"noStopper", false, true, editor, StopMethod::terminateProcess},
                      RefusedCase{"notBlocked", true, false, editor, StopMethod::terminateProcess},
                      RefusedCase{"notAmongTheBlockers", true, true, shell,
                                  StopMethod::terminateProcess},
                      RefusedCase{"samePidOtherStartTime", true, true, restarted(editor),
                                  StopMethod::terminateProcess},
                      RefusedCase{"planUnavailable", true, true, editor, StopMethod::unavailable}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowStopTest, AskingAnAppToQuitIsLoggedByItsMethod) {
    WorkflowHarness h;
    h.reachBlocked({editor});
    h.stopper->planner = [](const BlockingProcess& p) {
        return stopPlan(p, StopMethod::quitApplication);
    };

    h.start(h.workflow->performStop(editor));

    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::info, "Stop requested method=quitApplication"}));
}

// What the fresh look finds right before the request.
struct StopTargetCase {
    const char* label;
    Processes fresh;
    friend void PrintTo(const StopTargetCase& c, std::ostream* os) { *os << c.label; }
};

class TovoWorkflowStopTargetTest : public ::testing::TestWithParam<StopTargetCase> {};

TEST_P(TovoWorkflowStopTargetTest, AGoneOrReplacedProcessIsRecordedAndNeverSignalled) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.reachBlocked({editor});
    h.diagnoses->enqueueValue(GetParam().fresh);

    h.start(workflow.performStop(editor));

    EXPECT_EQ(h.stopper->stops.callCount(), 0u);
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    const auto& attempt = workflow.releaseAttempts().front();
    EXPECT_EQ(attempt.processID, editor.pid);
    EXPECT_EQ(attempt.disposition, ReleaseDisposition::alreadyClosed);
    EXPECT_EQ(attempt.message, "It released the disk before Tovo acted.");
    EXPECT_TRUE(h.logger.contains(Level::info, "Stop request completed disposition=alreadyClosed"));
    // Nobody is waited for: the disk is looked at once, after one settle period.
    h.diagnoses->setValue(GetParam().fresh);
    h.advance(1200ms);
    EXPECT_EQ(h.clock.sleeperCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Targets, TovoWorkflowStopTargetTest,
                         ::testing::Values(StopTargetCase{"exited", {}},
                                           StopTargetCase{"pidReused", {restarted(editor)}}),
                         [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowStopTest, ARefusedStopIsRecordedAndTheRemainingBlockersArePlannedAgain) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.releaser->planEach(quitPlan);
    h.reachBlocked({editor, shell});
    h.diagnoses->setValue({editor, shell});
    const auto refused =
        attemptFor(editor, ReleaseDisposition::failed, "The system refused the stop request.");
    h.stopper->stops.enqueueValue(refused);
    h.releaser->planCalls.clear();

    h.start(workflow.performStop(editor));
    h.advance(1200ms);

    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.releaseAttempts(), std::vector{refused});
    EXPECT_EQ(workflow.blockers(), (Processes{editor, shell}));
    EXPECT_EQ(h.releaser->planCalls, (std::vector<Processes>{{editor, shell}}));
    EXPECT_EQ(workflow.stopPlans().size(), 2u);
    EXPECT_EQ(h.logger.entries(),
              (std::vector<Entry>{{Level::info, "Stop requested method=terminateProcess"},
                                  {Level::info, "Stop request completed disposition=failed"},
                                  {Level::info, "Release recheck still blocked count=2"}}));
}

TEST(TovoWorkflowStopTest, ARequestedStopWaitsForThatProcessOnly) {
    WorkflowHarness h;
    h.reachBlocked({editor});
    h.diagnoses->setValue({editor});
    h.stopper->stops.enqueueValue(attemptFor(editor, ReleaseDisposition::requested));

    h.start(h.workflow->performStop(editor));
    for (int poll = 0; poll < 4; ++poll) {
        h.clock.advanceToNextDeadline();
        h.run();
    }

    EXPECT_EQ(h.clock.now(), 4800ms);
    EXPECT_EQ(h.clock.sleeperCount(), 1u) << "still waiting for it to exit";
    h.clock.advanceToNextDeadline();
    h.run();
    EXPECT_EQ(h.clock.now(), 5000ms);
    EXPECT_EQ(h.workflow->phase(), EjectionPhase::blocked());
}

enum class StopStage { diagnosis, request, wait };

class TovoWorkflowCancelStopTest : public ::testing::TestWithParam<StopStage> {};

TEST_P(TovoWorkflowCancelStopTest, ReturnsToTheBlockersQuietly) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.reachBlocked({editor});
    auto operation = h.start(workflow.performStop(editor));
    if (GetParam() != StopStage::diagnosis) {
        h.diagnoses->resolve({editor});
        h.run();
    }
    if (GetParam() == StopStage::wait) {
        h.stopper->stops.resolve(attemptFor(editor, ReleaseDisposition::requested));
        h.run();
    }
    h.logger.clear();

    operation.requestCancellation();
    h.run();

    EXPECT_TRUE(operation.isDone());
    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.blockers(), Processes{editor});
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::info, "Release operation cancelled safely"}));
}

INSTANTIATE_TEST_SUITE_P(Stages, TovoWorkflowCancelStopTest,
                         ::testing::Values(StopStage::diagnosis, StopStage::request,
                                           StopStage::wait));

TEST(TovoWorkflowStopTest, AStopResultAfterTheUserMovedOnIsDropped) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.reachBlocked({editor});
    h.start(workflow.performStop(editor));
    h.diagnoses->resolve({editor});
    h.run();
    h.volumes->listing.enqueueValue({photos, backup});
    h.start(workflow.resetResult());
    workflow.selectDisk(backup.id);
    h.logger.clear();

    h.stopper->stops.resolve(attemptFor(editor, ReleaseDisposition::requested));
    h.run();

    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());
    EXPECT_EQ(h.clock.sleeperCount(), 0u);
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::debug, "Ignored a stale operation result"}));
}

TEST(TovoWorkflowStopTest, ADiagnosisFailureEndsInTovoStoppedSafely) {
    WorkflowHarness h;
    h.reachBlocked({editor});
    h.diagnoses->enqueueError(TestError());

    h.start(h.workflow->performStop(editor));

    EXPECT_EQ(h.workflow->phase(), EjectionPhase::failed("Tovo stopped safely", "lsof timed out.",
                                                         FailureRecovery::retryEject));
    EXPECT_EQ(h.stopper->stops.callCount(), 0u);
    EXPECT_TRUE(
        h.logger.contains(Level::error, "Release operation failed domain=TestDomain code=42"));
}

} // namespace
} // namespace tovo::testing
