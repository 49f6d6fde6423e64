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
using DiagnosisOutcome = ScriptedOperation<Processes, DiagnosisCall>::Outcome;

const ExternalDisk photos = makeDisk(1, "Photos");
const ExternalDisk backup = makeDisk(2, "Backup");
const BlockingProcess editor = makeProcess(501, "editor");
const BlockingProcess viewer = makeProcess(502, "viewer");
const BlockingProcess shell = makeProcess(503, "bash");

const char* const alreadyClosed = "It released the disk before Tovo acted.";
const char* const unverifiable = "Tovo cannot verify that this app is still safe to close.";

// What a test looks at in an attempt; the id is random.
struct AttemptView {
    std::int32_t processID;
    std::string processName;
    ReleaseDisposition disposition;
    std::string message;
    bool operator==(const AttemptView&) const = default;
    friend void PrintTo(const AttemptView& a, std::ostream* os) {
        *os << a.processID << " " << a.processName << " " << name(a.disposition) << " "
            << a.message;
    }
};

std::vector<AttemptView> viewOf(const std::vector<ReleaseAttempt>& attempts) {
    std::vector<AttemptView> views;
    for (const auto& attempt : attempts) {
        views.push_back(
            {attempt.processID, attempt.processName, attempt.disposition, attempt.message});
    }
    return views;
}

void quitForApps(WorkflowHarness& h) {
    h.releaser->planEach([](const BlockingProcess& process) {
        return process.command == "bash" ? manualPlan(process) : quitPlan(process);
    });
}

// Advances virtual time from deadline to deadline until nobody sleeps any more.
void runOutTheClock(WorkflowHarness& h) {
    while (h.clock.advanceToNextDeadline()) {
        h.run();
    }
}

TEST(TovoWorkflowReleaseTest, FullReleaseFlowEndsOnTheSuccessScreen) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor, viewer});
    const auto diagnosesBefore = h.diagnoses->callCount();

    auto operation = h.start(workflow.performSafeTovo());
    EXPECT_EQ(workflow.phase(), EjectionPhase::releasing());

    // Each approval: a fresh diagnosis, then one request for the fresh process.
    h.diagnoses->resolve({editor, viewer});
    h.run();
    EXPECT_EQ(h.releaser->requests.pendingArguments(), Processes{editor});
    h.releaser->requests.resolve({attemptFor(editor, ReleaseDisposition::requested)});
    h.run();
    h.diagnoses->resolve({viewer});
    h.run();
    h.releaser->requests.resolve({attemptFor(viewer, ReleaseDisposition::requested)});
    h.run();
    EXPECT_EQ(workflow.releaseAttempts().size(), 2u);
    EXPECT_EQ(workflow.phase(), EjectionPhase::releasing());

    // The wait: still closing at 1.2 s, gone at 2.4 s.
    h.advance(1200ms);
    h.diagnoses->resolve({viewer});
    h.run();
    EXPECT_EQ(workflow.phase(), EjectionPhase::releasing());
    h.advance(1200ms);
    h.diagnoses->resolve({});
    h.run();
    EXPECT_EQ(workflow.phase(), EjectionPhase::retrying());
    EXPECT_EQ(h.ejector->ejects.pendingArguments(), photos);
    h.ejector->ejects.resolve();
    h.run();

    EXPECT_TRUE(operation.isDone());
    EXPECT_EQ(workflow.phase(), EjectionPhase::ejected("Photos"));
    EXPECT_EQ(viewOf(workflow.releaseAttempts()),
              (std::vector<AttemptView>{
                  {editor.pid, "editor", ReleaseDisposition::requested, "Asked to quit."},
                  {viewer.pid, "viewer", ReleaseDisposition::requested, "Asked to quit."}}));
    EXPECT_THAT(workflow.blockers(), IsEmpty());
    EXPECT_THAT(workflow.releasePlans(), IsEmpty());
    EXPECT_THAT(workflow.stopPlans(), IsEmpty());
    EXPECT_EQ(workflow.disks(), std::vector{backup});
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
    EXPECT_EQ(h.releaser->requests.calls(), (std::vector<Processes>{{editor}, {viewer}}));
    EXPECT_EQ(h.diagnoses->callCount() - diagnosesBefore, 4u);
    EXPECT_EQ(h.logger.entries(),
              (std::vector<Entry>{{Level::info, "Release review confirmed total=2 eligible=2"},
                                  {Level::info, "Release requests completed count=2"}}));
}

TEST(TovoWorkflowReleaseTest, WithoutApprovalsNothingIsAskedAndTheDiskIsRecheckedAfterOneSettle) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.releaser->planner = [](const Processes&) { return std::vector<ProcessReleasePlan>{}; };
    h.reachBlocked({editor});
    const auto diagnosesBefore = h.diagnoses->callCount();

    h.start(workflow.performSafeTovo());
    EXPECT_EQ(workflow.phase(), EjectionPhase::releasing());
    h.advance(1200ms - 1ns);
    EXPECT_EQ(h.diagnoses->callCount(), diagnosesBefore);
    h.advance(1ns);
    ASSERT_EQ(h.diagnoses->pendingCount(), 1u);
    h.diagnoses->resolve({editor});
    h.run();

    EXPECT_EQ(h.releaser->requests.callCount(), 0u);
    EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());
    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.blockers(), Processes{editor});
    EXPECT_EQ(h.logger.entries(),
              (std::vector<Entry>{{Level::info, "Release review confirmed total=0 eligible=0"},
                                  {Level::info, "Release requests completed count=0"},
                                  {Level::info, "Release recheck still blocked count=1"}}));
}

// One approval against what a fresh look at the disk finds.
enum class FreshPlan { same, quit, manual, none };

struct ApprovalCase {
    const char* label;
    bool approvedAsQuit;
    Processes fresh;
    FreshPlan freshPlan;
    std::vector<AttemptView> expectedAttempts;
    std::vector<Processes> expectedRequests;
    std::size_t expectedPolls;
    std::string_view expectedPhase;
    friend void PrintTo(const ApprovalCase& c, std::ostream* os) { *os << c.label; }
};

class TovoWorkflowApprovalTest : public ::testing::TestWithParam<ApprovalCase> {};

TEST_P(TovoWorkflowApprovalTest, ActsOnlyOnAVerifiedApprovedProcess) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    if (param.approvedAsQuit) {
        h.releaser->planEach(quitPlan);
    } else {
        h.releaser->planEach(manualPlan);
    }
    h.reachBlocked({editor});
    if (param.freshPlan == FreshPlan::quit) {
        h.releaser->planEach(quitPlan);
    } else if (param.freshPlan == FreshPlan::manual) {
        h.releaser->planEach(manualPlan);
    } else if (param.freshPlan == FreshPlan::none) {
        h.releaser->planner = [](const Processes&) { return std::vector<ProcessReleasePlan>{}; };
    }
    h.diagnoses->setValue(param.fresh);
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    const auto diagnosesBefore = h.diagnoses->callCount();

    h.start(workflow.performSafeTovo());
    runOutTheClock(h);

    EXPECT_EQ(viewOf(workflow.releaseAttempts()), param.expectedAttempts);
    EXPECT_EQ(h.releaser->requests.calls(), param.expectedRequests);
    EXPECT_EQ(h.diagnoses->callCount() - diagnosesBefore - 1, param.expectedPolls);
    EXPECT_EQ(workflow.phase().caseName(), param.expectedPhase);
}

INSTANTIATE_TEST_SUITE_P(
    Approvals, TovoWorkflowApprovalTest,
    ::testing::Values(
        ApprovalCase{"quitConfirmedAgain",
                     true,
                     {editor},
                     FreshPlan::same,
                     {{editor.pid, "editor", ReleaseDisposition::requested, "Asked to quit."}},
                     {{editor}},
                     5,
                     "blocked"},
        ApprovalCase{"closedBeforeItsTurn",
                     true,
                     {},
                     FreshPlan::same,
                     {{editor.pid, "editor", ReleaseDisposition::alreadyClosed, alreadyClosed}},
                     {},
                     1,
                     "retrying"},
        ApprovalCase{"pidReusedByAnotherProcess",
                     true,
                     {restarted(editor)},
                     FreshPlan::same,
                     {{editor.pid, "editor", ReleaseDisposition::alreadyClosed, alreadyClosed}},
                     {},
                     1,
                     "blocked"},
        ApprovalCase{"freshPlanNoLongerQuits",
                     true,
                     {editor},
                     FreshPlan::manual,
                     {{editor.pid, "editor", ReleaseDisposition::needsManualAction, unverifiable}},
                     {},
                     5,
                     "blocked"},
        ApprovalCase{"noFreshPlan",
                     true,
                     {editor},
                     FreshPlan::none,
                     {{editor.pid, "editor", ReleaseDisposition::needsManualAction, unverifiable}},
                     {},
                     5,
                     "blocked"},
        ApprovalCase{"manualPlanNeverAskedEvenIfNowQuittable",
                     false,
                     {editor},
                     FreshPlan::quit,
                     {{editor.pid, "editor", ReleaseDisposition::needsManualAction,
                       "Close this process, then try again."}},
                     {},
                     1,
                     "blocked"}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowReleaseTest, ApprovalsAreFrozenWhenTheUserConfirms) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor, viewer, shell});
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);

    h.start(workflow.performSafeTovo());
    // While the first fresh diagnosis runs, the published lists are emptied.
    h.volumes->listing.enqueueValue({photos, backup});
    h.start(workflow.resetResult());
    ASSERT_THAT(workflow.releasePlans(), IsEmpty());
    ASSERT_THAT(workflow.blockers(), IsEmpty());
    h.diagnoses->setValue({editor, viewer, shell});
    h.diagnoses->resolve({editor, viewer, shell});
    h.run();

    // Exactly what was approved is acted on, and the exiting list is the approved apps.
    EXPECT_EQ(h.releaser->requests.calls(), (std::vector<Processes>{{editor}, {viewer}}));
    EXPECT_EQ(viewOf(workflow.releaseAttempts()).size(), 3u);
    EXPECT_EQ(workflow.releaseAttempts()[2].disposition, ReleaseDisposition::needsManualAction);
    h.diagnoses->setValue({editor, viewer});
    h.advance(1200ms);
    EXPECT_EQ(h.clock.sleeperCount(), 1u) << "still waiting for the two apps";
}

TEST(TovoWorkflowReleaseTest, AProcessListedTwiceIsAskedOnce) {
    WorkflowHarness h;
    h.releaser->planEach(quitPlan);
    h.reachBlocked({editor, editor});
    h.diagnoses->setValue({editor});
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);

    h.start(h.workflow->performSafeTovo());
    runOutTheClock(h);

    EXPECT_EQ(h.releaser->requests.calls(), std::vector<Processes>{{editor}});
}

// The release wait: when it looks at the disk, and when it stops looking.
struct WaitCase {
    const char* label;
    std::uint64_t settle;
    std::uint64_t timeout;
    std::vector<Processes> polls; // answers in order; the last one repeats
    std::vector<std::chrono::nanoseconds> expectedTimes;
    std::string_view expectedPhase;
    friend void PrintTo(const WaitCase& c, std::ostream* os) { *os << c.label; }
};

class TovoWorkflowWaitTest : public ::testing::TestWithParam<WaitCase> {};

TEST_P(TovoWorkflowWaitTest, PollsAtTheSettleIntervalUpToTheTimeout) {
    const auto& param = GetParam();
    WorkflowHarness h(WorkflowOptions{.settle = param.settle, .timeout = param.timeout});
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor});
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    h.diagnoses->enqueueValue({editor}); // the approval's own fresh look
    std::vector<std::chrono::nanoseconds> times;
    std::size_t answered = 0;
    h.diagnoses->setResponder([&](const DiagnosisCall&) {
        times.push_back(h.clock.now());
        const auto& answer = param.polls[std::min(answered++, param.polls.size() - 1)];
        return DiagnosisOutcome::success(answer);
    });

    h.start(workflow.performSafeTovo());
    runOutTheClock(h);

    EXPECT_EQ(times, param.expectedTimes);
    EXPECT_EQ(workflow.phase().caseName(), param.expectedPhase);
    EXPECT_EQ(h.clock.sleeperCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Waits, TovoWorkflowWaitTest,
    ::testing::Values(
        WaitCase{"realValuesTimeOut",
                 1'200'000'000,
                 5'000'000'000,
                 {{editor}},
                 {1200ms, 2400ms, 3600ms, 4800ms, 5000ms},
                 "blocked"},
        WaitCase{"demoValues",
                 250'000'000,
                 1'000'000'000,
                 {{editor}},
                 {250ms, 500ms, 750ms, 1000ms},
                 "blocked"},
        WaitCase{
            "settleLongerThanTimeout", 2'000'000'000, 1'000'000'000, {{editor}}, {1s}, "blocked"},
        WaitCase{"zeroSettleLooksOnce", 0, 5'000'000'000, {{editor}}, {0ns}, "blocked"},
        WaitCase{"zeroTimeoutLooksOnce", 1'200'000'000, 0, {{}}, {0ns}, "retrying"},
        WaitCase{"freedAtTheSecondLook",
                 1'200'000'000,
                 5'000'000'000,
                 {{editor}, {}},
                 {1200ms, 2400ms},
                 "retrying"},
        WaitCase{"someoneElseHoldsTheDisk",
                 1'200'000'000,
                 5'000'000'000,
                 {{editor, shell}},
                 {1200ms},
                 "blocked"},
        WaitCase{"aRestartedProcessHoldsTheDisk",
                 1'200'000'000,
                 5'000'000'000,
                 {{restarted(editor)}},
                 {1200ms},
                 "blocked"}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowReleaseTest, StillBlockedAfterTheWaitShowsTheRemainingBlockersWithTheirAttempts) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor, shell});
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    h.diagnoses->setValue({editor, shell});

    h.start(workflow.performSafeTovo());
    h.diagnoses->setValue({shell});
    runOutTheClock(h);

    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.blockers(), Processes{shell});
    EXPECT_EQ(workflow.releasePlans(), std::vector{manualPlan(shell)});
    EXPECT_EQ(workflow.stopPlans().size(), 1u);
    EXPECT_EQ(viewOf(workflow.releaseAttempts()).size(), 2u);
    EXPECT_EQ(h.logger.entries().back(),
              (Entry{Level::info, "Release recheck still blocked count=1"}));
    // Blocked again with no operation left over: the user may try once more.
    h.start(workflow.performSafeTovo());
    EXPECT_EQ(workflow.phase(), EjectionPhase::releasing());
}

// Where the running release is cancelled, and what the user sees afterwards.
enum class Stage {
    approvalDiagnosis,
    request,
    settleSleep,
    pollDiagnosis,
    retryEject,
    retryDiagnosis
};

struct CancelCase {
    const char* label;
    Stage stage;
    EjectionPhase expectedPhase;
    friend void PrintTo(const CancelCase& c, std::ostream* os) { *os << c.label; }
};

// Moves a confirmed release of `editor` forward until it waits at `stage`.
void releaseUntil(WorkflowHarness& h, Stage stage) {
    if (stage == Stage::approvalDiagnosis) {
        return;
    }
    h.diagnoses->resolve({editor});
    h.run();
    if (stage == Stage::request) {
        return;
    }
    h.releaser->requests.resolve({attemptFor(editor, ReleaseDisposition::requested)});
    h.run();
    if (stage == Stage::settleSleep) {
        return;
    }
    h.advance(1200ms);
    if (stage == Stage::pollDiagnosis) {
        return;
    }
    h.diagnoses->resolve({});
    h.run();
    if (stage == Stage::retryEject) {
        return;
    }
    h.ejector->ejects.fail(WorkflowHarness::busyFailure());
    h.run();
}

class TovoWorkflowCancelReleaseTest : public ::testing::TestWithParam<CancelCase> {};

TEST_P(TovoWorkflowCancelReleaseTest, EndsQuietlyWithoutAFailureScreen) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor});
    auto operation = h.start(workflow.performSafeTovo());
    releaseUntil(h, param.stage);
    h.logger.clear();

    operation.requestCancellation();
    h.run();

    EXPECT_TRUE(operation.isDone());
    EXPECT_EQ(workflow.phase(), param.expectedPhase);
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::info, "Release operation cancelled safely"}));
    if (param.expectedPhase == EjectionPhase::ready()) {
        EXPECT_THAT(workflow.releasePlans(), IsEmpty());
        EXPECT_THAT(workflow.stopPlans(), IsEmpty());
    } else {
        EXPECT_EQ(workflow.blockers(), Processes{editor});
        EXPECT_EQ(workflow.releasePlans(), std::vector{quitPlan(editor)});
    }
    // The operation is over: a refresh now applies instead of being ignored.
    h.volumes->listing.enqueueValue({backup});
    h.start(workflow.refresh());
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
}

INSTANTIATE_TEST_SUITE_P(
    Stages, TovoWorkflowCancelReleaseTest,
    ::testing::Values(
        CancelCase{"duringTheApprovalDiagnosis", Stage::approvalDiagnosis,
                   EjectionPhase::blocked()},
        CancelCase{"duringTheQuitRequest", Stage::request, EjectionPhase::blocked()},
        CancelCase{"duringTheSettleSleep", Stage::settleSleep, EjectionPhase::blocked()},
        CancelCase{"duringThePoll", Stage::pollDiagnosis, EjectionPhase::blocked()},
        CancelCase{"duringTheRetriedEject", Stage::retryEject, EjectionPhase::ready()},
        CancelCase{"duringTheRetryDiagnosis", Stage::retryDiagnosis, EjectionPhase::ready()}),
    [](const auto& info) { return std::string(info.param.label); });

// Failures inside a release end in "Tovo stopped safely", except a busy retry that finds
// someone to show.
struct ReleaseFailureCase {
    const char* label;
    std::function<void(WorkflowHarness&)> fail;
    EjectionPhase expectedPhase;
    std::vector<Entry> expectedLog;
    friend void PrintTo(const ReleaseFailureCase& c, std::ostream* os) { *os << c.label; }
};

class TovoWorkflowReleaseFailureTest : public ::testing::TestWithParam<ReleaseFailureCase> {};

TEST_P(TovoWorkflowReleaseFailureTest, EndsInTheCasesPhase) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor});
    h.start(workflow.performSafeTovo());
    h.logger.clear();

    param.fail(h);
    h.run();

    EXPECT_EQ(workflow.phase(), param.expectedPhase);
    EXPECT_EQ(h.logger.entries(), param.expectedLog);
}

const Entry requestsDone{Level::info, "Release requests completed count=1"};

void reachRetry(WorkflowHarness& h) {
    releaseUntil(h, Stage::retryEject);
}

INSTANTIATE_TEST_SUITE_P(
    Failures, TovoWorkflowReleaseFailureTest,
    ::testing::Values(
        ReleaseFailureCase{"approvalDiagnosisFails",
                           [](WorkflowHarness& h) { h.diagnoses->fail(TestError()); },
                           EjectionPhase::failed("Tovo stopped safely", "lsof timed out.",
                                                 FailureRecovery::retryEject),
                           {{Level::error, "Release operation failed domain=TestDomain code=42"}}},
        ReleaseFailureCase{
            "pollDiagnosisFails",
            [](WorkflowHarness& h) {
                releaseUntil(h, Stage::pollDiagnosis);
                h.diagnoses->fail(TestError());
            },
            EjectionPhase::failed("Tovo stopped safely", "lsof timed out.",
                                  FailureRecovery::retryEject),
            {requestsDone, {Level::error, "Release operation failed domain=TestDomain code=42"}}},
        ReleaseFailureCase{
            "retriedEjectFails",
            [](WorkflowHarness& h) {
                reachRetry(h);
                h.ejector->ejects.fail(TestError("The bus went away."));
            },
            EjectionPhase::failed("Tovo stopped safely", "The bus went away.",
                                  FailureRecovery::retryEject),
            {requestsDone, {Level::error, "Release operation failed domain=TestDomain code=42"}}},
        ReleaseFailureCase{
            "retriedEjectBusyWithNobodyToShow",
            [](WorkflowHarness& h) {
                reachRetry(h);
                h.ejector->ejects.fail(WorkflowHarness::busyFailure(77));
                h.run();
                EXPECT_EQ(h.workflow->phase(), EjectionPhase::diagnosing());
                EXPECT_EQ(h.diagnoses->pendingArguments().dissentingProcessID, 77);
                h.diagnoses->resolve({});
            },
            EjectionPhase::failed("Tovo stopped safely", "The disk is in use.",
                                  FailureRecovery::retryEject),
            {requestsDone,
             {Level::error, "Release operation failed domain=TovoCore.EjectionFailure code=1"}}},
        ReleaseFailureCase{"retriedEjectBusyWithBlockers",
                           [](WorkflowHarness& h) {
                               reachRetry(h);
                               h.ejector->ejects.fail(WorkflowHarness::busyFailure());
                               h.run();
                               h.diagnoses->resolve({shell});
                           },
                           EjectionPhase::blocked(),
                           {requestsDone}}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowReleaseTest, FailureKeepsBlockersPlansAndAttempts) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor});
    h.start(workflow.performSafeTovo());
    releaseUntil(h, Stage::pollDiagnosis);

    h.diagnoses->fail(TestError());
    h.run();

    EXPECT_EQ(workflow.blockers(), Processes{editor});
    EXPECT_EQ(workflow.releasePlans(), std::vector{quitPlan(editor)});
    EXPECT_EQ(workflow.releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow.selectedDiskID(), photos.id);
}

// Results of a release that the user left by picking another disk.
enum class LeaveAt { request, wait, retriedEject };

class TovoWorkflowStaleReleaseTest : public ::testing::TestWithParam<LeaveAt> {};

TEST_P(TovoWorkflowStaleReleaseTest, ResultIsDroppedAndTheNewSelectionStays) {
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    quitForApps(h);
    h.reachBlocked({editor});
    h.start(workflow.performSafeTovo());
    const auto stage = GetParam() == LeaveAt::request ? Stage::request
                       : GetParam() == LeaveAt::wait  ? Stage::pollDiagnosis
                                                      : Stage::retryEject;
    releaseUntil(h, stage);
    h.volumes->listing.enqueueValue({photos, backup});
    h.start(workflow.resetResult());
    workflow.selectDisk(backup.id);
    ASSERT_EQ(workflow.selectedDiskID(), backup.id);
    h.logger.clear();

    if (GetParam() == LeaveAt::request) {
        h.releaser->requests.resolve({attemptFor(editor, ReleaseDisposition::requested)});
    } else if (GetParam() == LeaveAt::wait) {
        h.diagnoses->resolve({});
    } else {
        h.ejector->ejects.resolve();
    }
    h.run();

    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
    EXPECT_EQ(workflow.disks(), (std::vector{photos, backup}));
    EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());
    EXPECT_EQ(h.clock.sleeperCount(), 0u);
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::debug, "Ignored a stale operation result"}));
}

INSTANTIATE_TEST_SUITE_P(Moments, TovoWorkflowStaleReleaseTest,
                         ::testing::Values(LeaveAt::request, LeaveAt::wait, LeaveAt::retriedEject));

TEST(TovoWorkflowReleaseTest, IsIgnoredUnlessBlocked) {
    WorkflowHarness h;
    quitForApps(h);
    h.listDisks({photos});
    h.logger.clear();

    h.start(h.workflow->performSafeTovo());

    EXPECT_EQ(h.workflow->phase(), EjectionPhase::ready());
    EXPECT_EQ(h.diagnoses->callCount(), 0u);
    EXPECT_THAT(h.logger.entries(), IsEmpty());
}

} // namespace
} // namespace tovo::testing
