#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

namespace tovo::testing {
namespace {

const char* const alreadyClosed = "It released the disk before Tovo acted.";
const char* const unverifiable = "Tovo cannot verify that this app is still safe to close.";

using TovoWorkflowReleaseTest = HarnessTest;

TEST_F(TovoWorkflowReleaseTest, EachRequestFollowsAFreshLookThenTheWaitEndsOnTheSuccessScreen) {
    h.quitForApps().reachBlocked({editor, viewer});
    std::vector<std::string> trace;
    const std::vector<Processes> looks{{editor, viewer}, {viewer}, {viewer}, {}};
    h.diagnoses->setResponder([&](const DiagnosisCall&) {
        trace.push_back("look at " + std::to_string(h.clock.now() / 1ms) + "ms");
        return DiagnosisOutcome::success(looks.at(trace.size() / 2));
    });
    std::vector<ReleaseAttempt> asked;
    h.releaser->requests.setResponder([&](const Processes& processes) {
        trace.push_back("ask " + processes.at(0).command);
        asked.push_back(attemptFor(processes.at(0), ReleaseDisposition::requested));
        return decltype(h.releaser->requests)::Outcome::success({asked.back()});
    });

    auto operation = h.start(workflow.performSafeTovo());
    EXPECT_EQ(workflow.phase(), EjectionPhase::releasing());
    h.runOutTheClock();
    EXPECT_EQ(workflow.phase(), EjectionPhase::retrying());
    EXPECT_EQ(h.ejector->ejects.pendingArguments(), photos);
    h.ejector->ejects.resolve();
    h.run();

    // Still closing at 1.2 s, gone at 2.4 s.
    EXPECT_EQ(trace, (std::vector<std::string>{"look at 0ms", "ask editor", "look at 0ms",
                                               "ask viewer", "look at 1200ms", "look at 2400ms"}));
    EXPECT_TRUE(operation.isDone());
    EXPECT_EQ(workflow.phase(), EjectionPhase::ejected("Photos"));
    EXPECT_EQ(workflow.releaseAttempts(), asked);
    EXPECT_EQ(h.listSizes(), (ListSizes{0, 0, 0, 2, 0, 0}));
    EXPECT_EQ(h.logger.entries(),
              (std::vector<Entry>{{Level::info, "Release review confirmed total=2 eligible=2"},
                                  {Level::info, "Release requests completed count=2"}}));
}

const auto requested = ReleaseDisposition::requested;
const auto closed = ReleaseDisposition::alreadyClosed;
const auto manual = ReleaseDisposition::needsManualAction;
const std::pair<ReleaseDisposition, std::string> asked{requested, "Asked to quit."};
const std::vector<std::chrono::nanoseconds> fullWait{1200ms, 2400ms, 3600ms, 4800ms, 5000ms};

// What the plan for `editor` turns into once a fresh look finds it again.
enum class FreshPlan { same, quit, manual, none };

// One approved `editor` against the approval's fresh look, then the wait: when it looks
// at the disk and when it stops looking.
struct ReleaseCase {
    const char* label;
    Processes fresh;
    std::vector<Processes> polls; // answers in order; the last one repeats
    std::vector<std::chrono::nanoseconds> expectedTimes;
    std::string_view expectedPhase;
    std::pair<ReleaseDisposition, std::string> expectedAttempt;
    bool approvedAsQuit;
    FreshPlan freshPlan;
    WorkflowOptions options;
};

ReleaseCase row(const char* label, Processes fresh, std::vector<Processes> polls,
                std::vector<std::chrono::nanoseconds> times, std::string_view phase,
                std::pair<ReleaseDisposition, std::string> attempt = asked,
                bool approvedAsQuit = true, FreshPlan plan = FreshPlan::same,
                WorkflowOptions options = {}) {
    return {label, fresh, polls, times, phase, attempt, approvedAsQuit, plan, options};
}

class TovoWorkflowReleaseTableTest : public ::testing::TestWithParam<ReleaseCase> {};

TEST_P(TovoWorkflowReleaseTableTest, ActsOnlyOnAVerifiedApprovedProcessThenWaits) {
    const auto& param = GetParam();
    WorkflowHarness h(param.options);
    h.releaser->planEach(param.approvedAsQuit ? quitPlan : manualPlan);
    h.reachBlocked({editor});
    if (param.freshPlan == FreshPlan::none) {
        h.releaser->planner = [](const Processes&) { return std::vector<ProcessReleasePlan>{}; };
    } else if (param.freshPlan != FreshPlan::same) {
        h.releaser->planEach(param.freshPlan == FreshPlan::quit ? quitPlan : manualPlan);
    }
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    h.diagnoses->enqueueValue(param.fresh);
    std::vector<std::chrono::nanoseconds> times;
    h.diagnoses->setResponder([&](const DiagnosisCall&) {
        const auto answer = param.polls[std::min(times.size(), param.polls.size() - 1)];
        times.push_back(h.clock.now());
        return DiagnosisOutcome::success(answer);
    });

    h.start(h.workflow->performSafeTovo());
    h.runOutTheClock();

    ASSERT_EQ(h.workflow->releaseAttempts().size(), 1u);
    const auto& attempt = h.workflow->releaseAttempts().front();
    EXPECT_EQ(std::pair(attempt.disposition, attempt.message), param.expectedAttempt);
    EXPECT_EQ(h.releaser->requests.callCount(), attempt.disposition == requested ? 1u : 0u);
    EXPECT_EQ(times, param.expectedTimes);
    EXPECT_EQ(h.workflow->phase().caseName(), param.expectedPhase);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TovoWorkflowReleaseTableTest,
    ::testing::Values(
        row("quitConfirmedThenTimesOut", {editor}, {{editor}}, fullWait, "blocked"),
        row("closedBeforeItsTurn", {}, {{}}, {1200ms}, "retrying", {closed, alreadyClosed}),
        row("pidReusedByAnotherProcess", {restarted(editor)}, {{restarted(editor)}}, {1200ms},
            "blocked", {closed, alreadyClosed}),
        row("freshPlanNoLongerQuits", {editor}, {{editor}}, fullWait, "blocked",
            {manual, unverifiable}, true, FreshPlan::manual),
        row("noFreshPlan", {editor}, {{editor}}, fullWait, "blocked", {manual, unverifiable}, true,
            FreshPlan::none),
        row("manualPlanNeverAskedEvenIfNowQuittable", {editor}, {{editor}}, {1200ms}, "blocked",
            {manual, "Close this process, then try again."}, false, FreshPlan::quit),
        row("settleLongerThanTimeout", {editor}, {{editor}}, {1s}, "blocked", asked, true,
            FreshPlan::same, {.settle = 2'000'000'000, .timeout = 1'000'000'000}),
        row("zeroSettleLooksOnce", {editor}, {{editor}}, {0ns}, "blocked", asked, true,
            FreshPlan::same, {.settle = 0}),
        row("zeroTimeoutLooksOnce", {editor}, {{}}, {0ns}, "retrying", asked, true, FreshPlan::same,
            {.timeout = 0}),
        row("freedAtTheSecondLook", {editor}, {{editor}, {}}, {1200ms, 2400ms}, "retrying"),
        row("someoneElseHoldsTheDisk", {editor}, {{editor, shell}}, {1200ms}, "blocked"),
        row("aRestartedProcessHoldsTheDisk", {editor}, {{restarted(editor)}}, {1200ms}, "blocked")),
    [](const auto& info) { return std::string(info.param.label); });

TEST_F(TovoWorkflowReleaseTest, ApprovalsAreFrozenWhenTheUserConfirms) {
    h.quitForApps().reachBlocked({editor, viewer, shell, editor});
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);

    h.start(workflow.performSafeTovo());
    // While the first fresh diagnosis runs, the published lists are emptied.
    h.volumes->listing.enqueueValue({photos, backup});
    h.start(workflow.resetResult());
    ASSERT_THAT(workflow.releasePlans(), IsEmpty());
    h.diagnoses->setValue({editor, viewer, shell});
    h.diagnoses->resolve({editor, viewer, shell});
    h.run();

    // Exactly what was approved is acted on, once per process however often it was listed.
    EXPECT_EQ(h.releaser->requests.calls(), (std::vector<Processes>{{editor}, {viewer}}));
    EXPECT_EQ(h.logger.entries().front().message, "Release review confirmed total=4 eligible=3");
    EXPECT_EQ(workflow.releaseAttempts().back().disposition, manual);
    // The wait looks for the approved apps only.
    h.diagnoses->setValue({editor, viewer});
    h.advance(1200ms);
    EXPECT_EQ(h.clock.sleeperCount(), 1u) << "still waiting for the two apps";
}

TEST(TovoWorkflowReleaseRestartTest, ANewReleaseOrStopForgetsTheLastAttempts) {
    for (const bool stop : {false, true}) {
        WorkflowHarness h;
        h.reachFullyBlocked();
        h.start(stop ? h.workflow->performStop(editor) : h.workflow->performSafeTovo());
        EXPECT_THAT(h.workflow->releaseAttempts(), IsEmpty());
        EXPECT_EQ(h.workflow->causeAttempts().empty(), !stop);
    }
}

// Where an eject, or a confirmed release or stop of `editor` and the nested mount, waits;
// each stage answers the one before.
enum class Stage {
    eject,
    ejectDiagnosis,
    ejectPlanning,
    ejectCauseSearch,
    approvalDiagnosis,
    approvalPlanning,
    request,
    settleSleep,
    pollDiagnosis,
    causeSearch,
    causeAction,
    retryEject,
    retryDiagnosis,
    recheckCauses, // still held by someone else after the wait
    stopDiagnosis,
    stopRequest
};

void releaseUntil(WorkflowHarness& h, Stage stage) {
    if (stage <= Stage::ejectCauseSearch) {
        h.listDisks({photos, backup});
        if (stage != Stage::eject) {
            h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure());
        }
        if (stage == Stage::ejectPlanning) {
            h.diagnoses->enqueueValue({editor});
            h.releaser->plans.setResponder(nullptr);
        } else if (stage == Stage::ejectCauseSearch) {
            h.diagnoses->enqueueValue({});
            h.causeFinder->searches.setResponder(nullptr);
        }
        h.start(h.workflow->attemptEject());
        return;
    }
    h.causeFinder->searches.enqueueValue({nested});
    h.quitForApps().reachBlocked({editor});
    if (stage >= Stage::stopDiagnosis) {
        h.start(h.workflow->performStop(editor));
        if (stage == Stage::stopRequest) {
            h.diagnoses->resolve({editor});
            h.run();
        }
        return;
    }
    // Every call before `stage` answers at once; the one at `stage` waits.
    const bool recheck = stage == Stage::recheckCauses;
    if (stage > Stage::approvalDiagnosis) {
        h.diagnoses->enqueueValue({editor});
    }
    if (stage > Stage::pollDiagnosis) {
        h.diagnoses->enqueueValue(recheck ? Processes{shell} : Processes{});
    }
    if (stage == Stage::approvalPlanning) {
        h.releaser->plans.setResponder(nullptr);
    }
    if (stage != Stage::request) {
        h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    }
    h.causeFinder->searches.setValue({nested});
    if (stage == Stage::causeSearch || recheck) {
        h.causeFinder->searches.setResponder(nullptr);
    }
    if (stage == Stage::causeAction) {
        h.causeFinder->resolutions.setResponder(nullptr);
    }
    if (stage == Stage::retryDiagnosis) {
        h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure());
    }
    h.start(h.workflow->performSafeTovo());
    if (stage > Stage::settleSleep) {
        h.advance(1200ms);
    }
}

// Answers the call the operation waits on at `stage`, with `error` unless it is null.
void answerAt(WorkflowHarness& h, Stage stage, std::exception_ptr error) {
    const auto requested = attemptFor(editor, ReleaseDisposition::requested);
    auto& causes = *h.causeFinder;
    if (stage == Stage::ejectPlanning || stage == Stage::approvalPlanning) {
        error ? h.releaser->plans.fail(error) : h.releaser->plans.resolve({quitPlan(editor)});
    } else if (stage == Stage::request) {
        error ? h.releaser->requests.fail(error) : h.releaser->requests.resolve({requested});
    } else if (stage == Stage::stopRequest) {
        error ? h.stopper->stops.fail(error) : h.stopper->stops.resolve(requested);
    } else if (stage == Stage::retryEject || stage == Stage::eject) {
        error ? h.ejector->ejects.fail(error) : h.ejector->ejects.resolve();
    } else if (stage == Stage::causeSearch || stage == Stage::recheckCauses ||
               stage == Stage::ejectCauseSearch) {
        error ? causes.searches.fail(error) : causes.searches.resolve({nested});
    } else if (stage == Stage::causeAction) {
        error ? causes.resolutions.fail(error)
              : causes.resolutions.resolve({nested.key(), ReleaseDisposition::requested, "Done."});
    } else {
        // Somebody found, except by the wait, which would only go on waiting for them.
        error
            ? h.diagnoses->fail(error)
            : h.diagnoses->resolve(stage == Stage::pollDiagnosis ? Processes{} : Processes{editor});
    }
    h.run();
}

// What ends a running operation early: cancellation (after the system finished, for an
// eject), a failing service, or the user leaving the disk before the pending result
// arrives (then coming back to it, by selection or by refresh).
enum class Interruption {
    cancel,
    finishThenCancel,
    fail,
    leave,
    leaveThenFail,
    leaveThenCancel,
    returnBySelection,
    returnByRefresh
};

struct InterruptionCase {
    const char* label;
    Stage stage;
    Interruption by;
};

class TovoWorkflowInterruptionTest : public HarnessParamTest<InterruptionCase> {};

// Cancelled: back to the blockers, or unconfirmed once the eject was asked for. Failed:
// stopped safely. Left: the late result is dropped, starts nothing, and the new
// selection stays.
TEST_P(TovoWorkflowInterruptionTest, EndsSafelyWithOneLogLine) {
    const auto& [label, stage, by] = GetParam();
    releaseUntil(h, stage);
    const auto operation = h.started.back();
    h.logger.clear();
    const bool isEject = stage == Stage::eject || stage == Stage::retryEject;

    auto expectedPhase = EjectionPhase::ready();
    auto expectedLog = Entry{Level::debug, "Ignored a stale operation result"};
    if (by == Interruption::cancel || by == Interruption::finishThenCancel) {
        if (by == Interruption::finishThenCancel) {
            h.ejector->ejects.resolve();
        }
        operation.requestCancellation();
        h.run();
        // Once asked, the system may still be ejecting: the disk is not known to be safe.
        expectedPhase = isEject                          ? unconfirmedEject(photos)
                        : stage == Stage::retryDiagnosis ? EjectionPhase::ready()
                                                         : EjectionPhase::blocked();
        expectedLog = {Level::info, isEject ? "Eject cancelled before the system confirmed it"
                                            : "Release operation cancelled safely"};
    } else if (by == Interruption::fail) {
        answerAt(h, stage, std::make_exception_ptr(TestError()));
        expectedPhase = EjectionPhase::failed("Tovo stopped safely", "lsof timed out.",
                                              FailureRecovery::retryEject);
        expectedLog = {Level::error, "Release operation failed domain=TestDomain code=42"};
    } else {
        if (by == Interruption::returnByRefresh) {
            h.volumes->listing.enqueueValue({photos, backup});
            h.start(workflow.resetResult());
            h.listDisks({});
            h.listDisks({photos, backup});
            h.logger.clear();
        } else {
            h.selectOtherDisk();
        }
        if (by == Interruption::returnBySelection) {
            workflow.selectDisk(photos.id);
        }
        const auto actions = h.actions();
        if (by == Interruption::leaveThenCancel) {
            operation.requestCancellation();
            h.run();
        } else {
            // A refused eject is what would lead the stale operation on.
            answerAt(h, stage,
                     by != Interruption::leaveThenFail ? nullptr
                     : isEject ? std::make_exception_ptr(WorkflowHarness::busyFailure())
                               : std::make_exception_ptr(TestError()));
        }
        EXPECT_EQ(h.actions(), actions) << "a stale result starts nothing";
    }

    EXPECT_TRUE(operation.isDone());
    EXPECT_EQ(workflow.phase(), expectedPhase);
    EXPECT_THAT(h.logger.entries(), ElementsAre(expectedLog));
    EXPECT_EQ(h.clock.sleeperCount(), 0u);
    EXPECT_EQ(workflow.disks(), (std::vector{photos, backup}));
    if (by >= Interruption::leave) {
        const bool returned = by >= Interruption::returnBySelection;
        EXPECT_EQ(workflow.selectedDiskID(), returned ? photos.id : backup.id);
        EXPECT_EQ(h.listSizes(), ListSizes{});
    } else if (expectedPhase == EjectionPhase::blocked()) {
        EXPECT_EQ(workflow.blockers(), Processes{editor}) << "still shows who holds the disk";
        EXPECT_EQ(workflow.busyCauses(), std::vector{nested});
        // Nothing is left running: a stop may start at once.
        h.start(workflow.performStop(editor));
        EXPECT_EQ(workflow.phase(), EjectionPhase::stopping("editor (plan)"));
    } else if (stage == Stage::retryEject || stage == Stage::retryDiagnosis) {
        // Everybody had gone before the retry.
        EXPECT_THAT(workflow.blockers(), IsEmpty());
        EXPECT_THAT(workflow.busyCauses(), IsEmpty());
        if (expectedPhase == EjectionPhase::ready()) {
            EXPECT_THAT(workflow.releasePlans(), IsEmpty());
            EXPECT_THAT(workflow.stopPlans(), IsEmpty());
        }
    }
}

std::vector<InterruptionCase> interruptions() {
    using enum Stage;
    using enum Interruption;
    return {{"cancelEject", eject, cancel},
            {"finishedEjectCancelled", eject, finishThenCancel},
            {"cancelApprovalPlanning", approvalPlanning, cancel},
            {"cancelRequest", request, cancel},
            {"cancelSettleSleep", settleSleep, cancel},
            {"cancelRetriedEject", retryEject, cancel},
            {"finishedRetryCancelled", retryEject, finishThenCancel},
            {"cancelRetryDiagnosis", retryDiagnosis, cancel},
            {"cancelStop", stopRequest, cancel},
            {"failApprovalDiagnosis", approvalDiagnosis, fail},
            {"failApprovalPlanning", approvalPlanning, fail},
            {"failPoll", pollDiagnosis, fail},
            {"failCauseAction", causeAction, fail},
            {"failRetriedEject", retryEject, fail},
            {"failStop", stopRequest, fail},
            {"leaveDuringEject", eject, leave},
            {"leaveDuringEjectDiagnosis", ejectDiagnosis, leave},
            {"leaveDuringEjectPlanning", ejectPlanning, leave},
            {"leaveDuringEjectCauseSearch", ejectCauseSearch, leave},
            {"leaveDuringApprovalDiagnosis", approvalDiagnosis, leave},
            {"leaveDuringApprovalPlanning", approvalPlanning, leave},
            {"leaveDuringRequest", request, leave},
            {"leaveDuringPoll", pollDiagnosis, leave},
            {"leaveDuringCauseSearch", causeSearch, leave},
            {"leaveDuringCauseAction", causeAction, leave},
            {"leaveDuringRetriedEject", retryEject, leave},
            {"leaveDuringRetryDiagnosis", retryDiagnosis, leave},
            {"leaveDuringRecheck", recheckCauses, leave},
            {"leaveDuringStopDiagnosis", stopDiagnosis, leave},
            {"leaveDuringStop", stopRequest, leave},
            {"leaveThenPlanningFails", ejectPlanning, leaveThenFail},
            {"leaveThenRequestFails", request, leaveThenFail},
            {"leaveThenRetryRefused", retryEject, leaveThenFail},
            {"leaveThenRequestCancelled", request, leaveThenCancel},
            {"leaveThenRetryCancelled", retryEject, leaveThenCancel},
            {"returnBySelectionDuringEject", eject, returnBySelection},
            {"returnByRefreshDuringEject", eject, returnByRefresh}};
}

INSTANTIATE_TEST_SUITE_P(Cases, TovoWorkflowInterruptionTest, ::testing::ValuesIn(interruptions()),
                         [](const auto& info) { return std::string(info.param.label); });

// A retried eject refused as busy shows whoever holds the disk now, or stops safely.
class TovoWorkflowBusyRetryTest : public HarnessParamTest<bool> {};

TEST_P(TovoWorkflowBusyRetryTest, DiagnosesWithTheDissenter) {
    releaseUntil(h, Stage::retryEject);
    h.causeFinder->searches.setValue({});

    h.ejector->ejects.fail(WorkflowHarness::busyFailure(77));
    h.run();
    EXPECT_EQ(h.diagnoses->pendingArguments().dissentingProcessID, 77);
    h.diagnoses->resolve(GetParam() ? Processes{shell} : Processes{});
    h.run();

    EXPECT_EQ(workflow.phase(),
              GetParam() ? EjectionPhase::blocked()
                         : EjectionPhase::failed("Tovo stopped safely", "The disk is in use.",
                                                 FailureRecovery::retryEject));
    EXPECT_EQ(workflow.blockers(), GetParam() ? Processes{shell} : Processes{});
}

INSTANTIATE_TEST_SUITE_P(Found, TovoWorkflowBusyRetryTest, ::testing::Bool());

} // namespace
} // namespace tovo::testing
