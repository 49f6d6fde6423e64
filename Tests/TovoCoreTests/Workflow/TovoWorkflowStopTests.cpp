#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

namespace tovo::testing {
namespace {

using TovoWorkflowStopTest = HarnessTest;

TEST_F(TovoWorkflowStopTest, FullStopFlowEndsOnTheSuccessScreen) {
    h.reachBlocked({editor, shell});
    const auto sent = attemptFor(editor, ReleaseDisposition::requested, "Sent one stop request.");
    h.diagnoses->enqueueValue({editor, shell});
    h.diagnoses->enqueueValue({});
    h.stopper->stops.enqueueValue(sent);

    auto operation = h.start(workflow.performStop(editor));
    h.advance(1200ms);
    EXPECT_EQ(workflow.phase(), EjectionPhase::retrying());
    h.ejector->ejects.resolve();
    h.run();

    EXPECT_TRUE(operation.isDone());
    EXPECT_EQ(std::tuple(workflow.phase(), workflow.releaseAttempts(), h.stopper->stops.calls()),
              std::tuple(EjectionPhase::ejected("Photos"), std::vector{sent}, Processes{editor}));
    EXPECT_EQ(h.logger.entries(),
              (std::vector<Entry>{{Level::info, "Stop requested method=terminateProcess"},
                                  {Level::info, "Stop request completed disposition=requested"}}));
}

// Calls that must do nothing at all: no log, no phase change, no service call.
enum class Call { eject, release, stop };

struct RefusedCase {
    const char* label;
    Call call;
    bool blocked;
    BlockingProcess chosen = editor;
    StopMethod method = StopMethod::terminateProcess;
    bool withStopper = true;
};

class TovoWorkflowRefusedCallTest : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(TovoWorkflowRefusedCallTest, DoesNothing) {
    const auto& param = GetParam();
    WorkflowHarness h(WorkflowOptions{.withStopper = param.withStopper});
    if (param.blocked) {
        h.reachBlocked({editor});
    } else {
        h.listDisks(param.call == Call::eject ? std::vector<ExternalDisk>{} : std::vector{photos});
        h.logger.clear();
    }
    if (h.stopper) {
        h.stopper->method = param.method;
    }
    const auto phase = h.workflow->phase();
    const auto calls = h.diagnoses->callCount() + h.ejector->ejects.callCount();

    h.start(param.call == Call::eject     ? h.workflow->attemptEject()
            : param.call == Call::release ? h.workflow->performSafeTovo()
                                          : h.workflow->performStop(param.chosen));

    EXPECT_EQ(h.workflow->phase(), phase);
    EXPECT_EQ(h.diagnoses->callCount() + h.ejector->ejects.callCount(), calls);
    EXPECT_THAT(h.logger.entries(), IsEmpty());
    // Without a stopper, not even a plan.
    EXPECT_EQ(h.stopper ? h.stopper->stops.callCount() : h.workflow->stopPlans().size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, TovoWorkflowRefusedCallTest,
    ::testing::ValuesIn(std::vector<RefusedCase>{
        {"ejectWithoutADisk", Call::eject, false},
        {"releaseUnlessBlocked", Call::release, false},
        {"stopUnlessBlocked", Call::stop, false},
        {"stopWithoutStopper", Call::stop, true, editor, StopMethod::terminateProcess, false},
        {"stopNotAmongTheBlockers", Call::stop, true, shell},
        {"stopSamePidOtherStartTime", Call::stop, true, restarted(editor)},
        {"stopPlanUnavailable", Call::stop, true, editor, StopMethod::unavailable}}),
    [](const auto& info) { return std::string(info.param.label); });

// Planning suspends before anything starts: if the user moves on meanwhile, or starts
// another operation, the late plan starts nothing.
TEST(TovoWorkflowLateStopPlanTest, APlanThatArrivesAfterTheUserMovedOnStartsNothing) {
    for (const bool release : {false, true}) {
        WorkflowHarness h;
        h.reachBlocked({editor});
        h.stopper->plans.setResponder(nullptr);
        h.start(h.workflow->performStop(editor));
        ASSERT_EQ(h.workflow->phase(), EjectionPhase::blocked());
        if (release) {
            h.start(h.workflow->performSafeTovo());
            ASSERT_EQ(h.workflow->phase(), EjectionPhase::releasing());
        } else {
            h.selectOtherDisk();
        }
        const auto phase = h.workflow->phase();
        h.stopper->plans.resolve(
            {editor.pid, "editor", StopMethod::terminateProcess, "Stop it.", std::nullopt});
        h.run();

        EXPECT_EQ(h.workflow->phase(), phase);
        EXPECT_EQ(h.stopper->stops.callCount(), 0u);
        EXPECT_FALSE(h.logger.contains(Level::info, "Stop requested method=terminateProcess"));
    }
}

class TovoWorkflowStopTargetTest : public HarnessParamTest<Processes> {};

TEST_P(TovoWorkflowStopTargetTest, AGoneOrReplacedProcessIsRecordedAndNeverSignalled) {
    h.reachBlocked({editor});
    h.diagnoses->setValue(GetParam());

    h.start(workflow.performStop(editor));

    EXPECT_EQ(h.stopper->stops.callCount(), 0u);
    ASSERT_EQ(workflow.releaseAttempts().size(), 1u);
    const auto& attempt = workflow.releaseAttempts().front();
    EXPECT_EQ(attempt.disposition, ReleaseDisposition::alreadyClosed);
    EXPECT_EQ(attempt.message, "It released the disk before Tovo acted.");
    EXPECT_TRUE(h.logger.contains(Level::info, "Stop request completed disposition=alreadyClosed"));
    // Nobody is waited for: the disk is looked at once, after one settle period.
    h.advance(1200ms);
    EXPECT_EQ(h.clock.sleeperCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Targets, TovoWorkflowStopTargetTest,
                         ::testing::Values(Processes{}, Processes{restarted(editor)}));

// A refused stop is not waited for: one look after the settle period, and editor is
// planned again.
TEST_F(TovoWorkflowStopTest, ARefusedStopIsRecordedAndTheRemainingBlockerIsPlannedAgain) {
    h.releaser->planEach(quitPlan);
    h.reachBlocked({editor, shell});
    h.diagnoses->setValue({editor});
    const auto refused =
        attemptFor(editor, ReleaseDisposition::failed, "The system refused the stop request.");
    h.stopper->stops.enqueueValue(refused);
    h.releaser->planEach(manualPlan);

    h.start(workflow.performStop(editor));
    h.advance(1200ms);

    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.releaseAttempts(), std::vector{refused});
    EXPECT_EQ(workflow.releasePlans(), std::vector{manualPlan(editor)});
    ASSERT_EQ(workflow.stopPlans().size(), 1u);
    EXPECT_EQ(h.logger.entries(),
              (std::vector<Entry>{{Level::info, "Stop requested method=terminateProcess"},
                                  {Level::info, "Stop request completed disposition=failed"},
                                  {Level::info, "Release recheck still blocked count=1"}}));
}

} // namespace
} // namespace tovo::testing
