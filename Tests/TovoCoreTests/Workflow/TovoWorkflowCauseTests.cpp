#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

namespace tovo::testing {
namespace {

using Causes = std::vector<BusyCause>;
using TovoWorkflowCauseTest = HarnessTest;

const BusyCause image =
    makeCause(BusyCauseKind::loopDevice, "/dev/loop7", BusyCauseAction::detachLoop);
const BusyCause swapFile = makeCause(BusyCauseKind::swap, "/media/Photos/swapfile");

// Ejects `photos` into a busy refusal whose diagnosis finds `processes`, then `causes`.
void ejectIntoCauses(WorkflowHarness& h, Processes processes, Causes causes) {
    h.listDisks({photos, backup});
    h.logger.clear();
    h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure());
    h.diagnoses->enqueueValue(std::move(processes));
    h.causeFinder->searches.enqueueValue(std::move(causes));
    h.start(h.workflow->attemptEject());
}

TEST_F(TovoWorkflowCauseTest, BlocksWithCausesAloneAndTellsObserversFirst) {
    std::vector<std::size_t> seenBeforeChange;
    workflow.addObserver([&](WorkflowProperty property) {
        if (property == WorkflowProperty::busyCauses) {
            seenBeforeChange.push_back(workflow.busyCauses().size());
        }
    });

    ejectIntoCauses(h, {}, {nested, swapFile});

    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_THAT(workflow.blockers(), IsEmpty());
    EXPECT_EQ(workflow.busyCauses(), (Causes{nested, swapFile}));
    EXPECT_EQ(h.causeFinder->searches.calls(), (std::vector{CauseSearch{photos, false}}));
    EXPECT_EQ(seenBeforeChange.back(), 0u);
    EXPECT_THAT(h.logger.entries(),
                ::testing::Contains(Entry{Level::info, "Diagnosis found causes=2"}));
}

TEST_F(TovoWorkflowCauseTest, ShowsProcessesAloneWhenTheCauseSearchFails) {
    h.causeFinder->searches.enqueueError(TestError("mountinfo unreadable"));
    ejectIntoCauses(h, {editor}, {});

    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.blockers(), Processes{editor});
    EXPECT_EQ(h.causeFinder->searches.calls().at(0).processesFound, true);
    EXPECT_THAT(
        h.logger.entries(),
        ::testing::Contains(Entry{Level::error, "Cause search failed domain=TestDomain code=42"}));
}

// The release carries out the confirmed cause actions once the apps are gone and
// before the eject is tried again; causes left to the user are never acted on.
TEST_F(TovoWorkflowCauseTest, ActsOnApprovedCausesAfterTheAppsQuitAndBeforeTheRetry) {
    h.releaser->planEach(quitPlan);
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    ejectIntoCauses(h, {editor}, {nested, swapFile, image});
    ASSERT_EQ(workflow.phase(), EjectionPhase::blocked());
    std::vector<std::string> trace;
    h.diagnoses->setResponder([&](const DiagnosisCall&) {
        trace.push_back("look");
        return DiagnosisOutcome::success(trace.size() == 1 ? Processes{editor} : Processes{});
    });
    // The fresh look no longer finds the image: it was detached meanwhile.
    h.causeFinder->searches.setResponder([&](const CauseSearch&) {
        trace.push_back("find causes");
        return decltype(h.causeFinder->searches)::Outcome::success({nested, swapFile});
    });
    h.causeFinder->resolutions.setResponder(nullptr);

    h.start(workflow.performSafeTovo());
    h.runOutTheClock();
    EXPECT_EQ(trace, (std::vector<std::string>{"look", "look", "find causes"}));
    EXPECT_EQ(h.causeFinder->resolutions.pendingArguments(), nested);
    EXPECT_EQ(h.ejector->ejects.callCount(), 1u) << "no retry before the cause action ends";

    h.causeFinder->resolutions.resolve({nested.key(), ReleaseDisposition::requested, "Unmounted."});
    h.run();
    EXPECT_EQ(h.causeFinder->resolutions.callCount(), 1u);
    EXPECT_EQ(workflow.phase(), EjectionPhase::retrying());
    EXPECT_EQ(h.ejector->ejects.callCount(), 2u);
    EXPECT_EQ(
        workflow.causeAttempts(),
        (std::vector<BusyCauseAttempt>{
            {nested.key(), ReleaseDisposition::requested, "Unmounted."},
            {image.key(), ReleaseDisposition::alreadyClosed, "It no longer holds the disk."}}));
}

TEST_F(TovoWorkflowCauseTest, NeverActsOnACauseWhosePlanChangedSinceTheReview) {
    ejectIntoCauses(h, {}, {image});
    auto nowManual = image;
    nowManual.plan = {BusyCauseAction::none, "Someone else set it up."};
    h.diagnoses->setValue({});
    h.causeFinder->searches.setValue({nowManual});

    h.start(workflow.performSafeTovo());
    h.runOutTheClock();

    EXPECT_EQ(h.causeFinder->resolutions.callCount(), 0u);
    EXPECT_EQ(workflow.phase(), EjectionPhase::retrying());
}

TEST_F(TovoWorkflowCauseTest, ARetryRefusedWithOnlyCausesLeftShowsThem) {
    ejectIntoCauses(h, {}, {nested});
    h.diagnoses->setValue({});
    h.causeFinder->searches.setValue({nested});
    h.causeFinder->resolutions.setResponder([](const BusyCause& cause) {
        return ScriptedOperation<BusyCauseAttempt, BusyCause>::Outcome::success(
            {cause.key(), ReleaseDisposition::failed, "Not authorized."});
    });
    h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure());

    h.start(workflow.performSafeTovo());
    h.runOutTheClock();

    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.busyCauses(), Causes{nested});
    EXPECT_EQ(workflow.causeAttempts().at(0).message, "Not authorized.");
    EXPECT_EQ(h.causeFinder->searches.calls().back().processesFound, false);
}

} // namespace
} // namespace tovo::testing
