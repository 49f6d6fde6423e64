#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace tovo::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Entry = RecordingLogger::Entry;
using Level = LogLevel;

const ExternalDisk photos = makeDisk(1, "Photos");
const ExternalDisk backup = makeDisk(2, "Backup");
const BlockingProcess editor = makeProcess(501, "editor");
const BlockingProcess shell = makeProcess(502, "bash");

using DiskOutcome = ScriptedOperation<void, ExternalDisk>::Outcome;
using DiagnosisOutcome = ScriptedOperation<std::vector<BlockingProcess>, DiagnosisCall>::Outcome;

// One row of the eject table: what the eject and the diagnosis answer, where the
// workflow ends and what it logs on the way.
struct EjectCase {
    const char* label;
    friend void PrintTo(const EjectCase& c, std::ostream* os) { *os << c.label; }
    DiskOutcome eject;
    std::optional<DiagnosisOutcome> diagnosis;
    EjectionPhase expectedPhase;
    std::vector<Entry> expectedLog;
    std::vector<std::string> expectedDisks;
};

class TovoWorkflowEjectTableTest : public ::testing::TestWithParam<EjectCase> {};

TEST_P(TovoWorkflowEjectTableTest, EndsInTheRowsPhase) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.listDisks({photos, backup});
    h.logger.clear();

    h.start(workflow.attemptEject());
    ASSERT_EQ(workflow.phase(), EjectionPhase::ejecting());
    ASSERT_EQ(h.ejector->ejects.pendingArguments(), photos);
    if (param.eject.error) {
        h.ejector->ejects.fail(param.eject.error);
    } else {
        h.ejector->ejects.resolve();
    }
    h.run();
    if (param.diagnosis) {
        ASSERT_EQ(workflow.phase(), EjectionPhase::diagnosing());
        if (param.diagnosis->error) {
            h.diagnoses->fail(param.diagnosis->error);
        } else {
            h.diagnoses->resolve(*param.diagnosis->value);
        }
        h.run();
    }

    EXPECT_EQ(workflow.phase(), param.expectedPhase);
    EXPECT_EQ(h.logger.entries(), param.expectedLog);
    std::vector<std::string> ids;
    for (const auto& disk : workflow.disks()) {
        ids.push_back(disk.id);
    }
    EXPECT_EQ(ids, param.expectedDisks);
    EXPECT_EQ(workflow.selectedDiskID(), param.expectedDisks.front());
    // No operation outlives its ending: a later eject may start at once.
    h.ejector->ejects.setResponder([](const ExternalDisk&) { return DiskOutcome::success({}); });
    h.start(workflow.attemptEject());
    EXPECT_EQ(h.ejector->ejects.callCount(), 2u);
}

const Entry started{Level::info, "Eject started"};
const Entry busyLogged{Level::error,
                       "Eject failed kind=busy domain=org.freedesktop.UDisks2.Error code=7"};

INSTANTIATE_TEST_SUITE_P(
    Rows, TovoWorkflowEjectTableTest,
    ::testing::Values(
        EjectCase{"succeeds",
                  DiskOutcome::success({}),
                  std::nullopt,
                  EjectionPhase::ejected("Photos"),
                  {started, {Level::info, "Eject completed"}},
                  {backup.id}},
        EjectCase{"busyWithBlockers",
                  DiskOutcome::failure(WorkflowHarness::busyFailure()),
                  DiagnosisOutcome::success({editor, shell}),
                  EjectionPhase::blocked(),
                  {started, busyLogged, {Level::info, "Diagnosis completed blockers=2"}},
                  {photos.id, backup.id}},
        EjectCase{"busyWithoutBlockers",
                  DiskOutcome::failure(WorkflowHarness::busyFailure()),
                  DiagnosisOutcome::success({}),
                  EjectionPhase::failed("Could not eject", "The disk is in use.",
                                        FailureRecovery::retryEject),
                  {started, busyLogged, {Level::info, "Diagnosis completed blockers=0"}},
                  {photos.id, backup.id}},
        EjectCase{
            "busyAndDiagnosisFails",
            DiskOutcome::failure(WorkflowHarness::busyFailure()),
            DiagnosisOutcome::failure(TestError("\n lsof timed out. ")),
            EjectionPhase::failed("Could not inspect this disk",
                                  "The disk is in use. lsof timed out.",
                                  FailureRecovery::retryEject),
            {started, busyLogged, {Level::error, "Diagnosis failed domain=TestDomain code=42"}},
            {photos.id, backup.id}},
        EjectCase{
            "identityChanged",
            DiskOutcome::failure(EjectionFailure("This disk changed since it was listed.",
                                                 std::nullopt, EjectionFailureKind::identityChanged,
                                                 std::nullopt, std::nullopt)),
            std::nullopt,
            EjectionPhase::failed("Could not eject", "This disk changed since it was listed.",
                                  FailureRecovery::refreshDisks),
            {started, {Level::error, "Eject failed kind=identityChanged domain=none code=0"}},
            {backup.id}},
        EjectCase{"otherEjectionFailure",
                  DiskOutcome::failure(EjectionFailure("", std::nullopt, EjectionFailureKind::other,
                                                       "org.freedesktop.UDisks2.Error.Failed", 5)),
                  std::nullopt,
                  EjectionPhase::failed("Could not eject", "macOS did not provide a reason.",
                                        FailureRecovery::retryEject),
                  {started,
                   {Level::error,
                    "Eject failed kind=other domain=org.freedesktop.UDisks2.Error.Failed code=5"}},
                  {photos.id, backup.id}},
        EjectCase{"unrelatedError",
                  DiskOutcome::failure(TestError("The bus went away.")),
                  std::nullopt,
                  EjectionPhase::failed("Could not eject", "The bus went away.",
                                        FailureRecovery::retryEject),
                  {started, {Level::error, "Eject failed domain=TestDomain code=42"}},
                  {photos.id, backup.id}}),
    [](const auto& info) { return std::string(info.param.label); });

// Which phases an eject may start from.
struct StartCase {
    const char* label;
    friend void PrintTo(const StartCase& c, std::ostream* os) { *os << c.label; }
    EjectionPhase phase;
    bool starts;
};

class TovoWorkflowEjectStartTest : public ::testing::TestWithParam<StartCase> {};

TEST_P(TovoWorkflowEjectStartTest, StartsOnlyWhenNoOperationRuns) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    driveInto(h, param.phase);
    if (HasFatalFailure()) {
        return;
    }
    const auto phase = workflow.phase();
    const auto ejects = h.ejector->ejects.callCount();
    h.logger.clear();

    h.start(workflow.attemptEject());

    if (param.starts) {
        EXPECT_EQ(workflow.phase(), EjectionPhase::ejecting());
        EXPECT_EQ(h.ejector->ejects.callCount(), ejects + 1);
        EXPECT_EQ(h.ejector->ejects.pendingArguments().id, workflow.selectedDiskID());
        EXPECT_THAT(workflow.blockers(), IsEmpty());
        EXPECT_THAT(workflow.releasePlans(), IsEmpty());
        EXPECT_THAT(workflow.stopPlans(), IsEmpty());
        EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());
        EXPECT_THAT(h.logger.entries(), ElementsAre(started));
    } else {
        EXPECT_EQ(workflow.phase(), phase);
        EXPECT_EQ(h.ejector->ejects.callCount(), ejects);
        EXPECT_THAT(h.logger.entries(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Phases, TovoWorkflowEjectStartTest,
    ::testing::Values(StartCase{"ready", EjectionPhase::ready(), true},
                      StartCase{"blocked", EjectionPhase::blocked(), true},
                      StartCase{"failedRetry",
                                EjectionPhase::failed("", "", FailureRecovery::retryEject), true},
                      StartCase{"failedRefresh",
                                EjectionPhase::failed("", "", FailureRecovery::refreshDisks), true},
                      StartCase{"ejected", EjectionPhase::ejected("Photos"), true},
                      StartCase{"ejecting", EjectionPhase::ejecting(), false},
                      StartCase{"diagnosing", EjectionPhase::diagnosing(), false},
                      StartCase{"releasing", EjectionPhase::releasing(), false},
                      StartCase{"stopping", EjectionPhase::stopping("editor"), false},
                      StartCase{"retrying", EjectionPhase::retrying(), false}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowEjectTest, WithoutASelectedDiskNothingHappens) {
    WorkflowHarness h;
    h.listDisks({});
    h.logger.clear();

    h.start(h.workflow->attemptEject());

    EXPECT_EQ(h.workflow->phase(), EjectionPhase::ready());
    EXPECT_EQ(h.ejector->ejects.callCount(), 0u);
    EXPECT_THAT(h.logger.entries(), IsEmpty());
}

// How the diagnoser is asked after a busy refusal.
struct DissentCase {
    const char* label;
    friend void PrintTo(const DissentCase& c, std::ostream* os) { *os << c.label; }
    bool dissentAware;
    std::optional<std::int32_t> dissenter;
    DiagnosisCall expected;
};

class TovoWorkflowDissentTest : public ::testing::TestWithParam<DissentCase> {};

TEST_P(TovoWorkflowDissentTest, PassesTheDissenterThroughWhenTheDiagnoserCanTakeIt) {
    const auto& param = GetParam();
    WorkflowHarness h(WorkflowOptions{.dissentAware = param.dissentAware});
    h.listDisks({photos});
    h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure(param.dissenter));
    h.diagnoses->enqueueValue({editor});

    h.start(h.workflow->attemptEject());

    EXPECT_THAT(h.diagnoses->calls(), ElementsAre(param.expected));
}

INSTANTIATE_TEST_SUITE_P(
    Diagnosers, TovoWorkflowDissentTest,
    ::testing::Values(
        DissentCase{"awareWithDissenter", true, 4242, {photos, true, 4242}},
        DissentCase{"awareWithoutDissenter", true, std::nullopt, {photos, true, std::nullopt}},
        DissentCase{"plain", false, 4242, {photos, false, std::nullopt}}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowEjectTest, BlockedStateCarriesOnePlanOfEachKindPerBlocker) {
    WorkflowHarness h;
    h.releaser->planEach([](const BlockingProcess& process) {
        return process.pid == editor.pid ? quitPlan(process) : manualPlan(process);
    });

    h.reachBlocked({editor, shell});

    auto& workflow = *h.workflow;
    EXPECT_EQ(workflow.blockers(), (std::vector{editor, shell}));
    EXPECT_EQ(workflow.releasePlans(), (std::vector{quitPlan(editor), manualPlan(shell)}));
    ASSERT_EQ(workflow.stopPlans().size(), 2u);
    EXPECT_EQ(workflow.stopPlans()[0].processID, editor.pid);
    EXPECT_EQ(workflow.stopPlans()[1].processID, shell.pid);
    EXPECT_EQ(h.releaser->planCalls, (std::vector<std::vector<BlockingProcess>>{{editor, shell}}));
}

TEST(TovoWorkflowEjectTest, WithoutAStopperThereAreNoStopPlans) {
    WorkflowHarness h(WorkflowOptions{.withStopper = false});

    h.reachBlocked({editor, shell});

    EXPECT_EQ(h.workflow->releasePlans().size(), 2u);
    EXPECT_THAT(h.workflow->stopPlans(), IsEmpty());
}

// An eject or diagnosis result arriving after the user left for another disk.
struct StaleCase {
    const char* label;
    friend void PrintTo(const StaleCase& c, std::ostream* os) { *os << c.label; }
    bool failBusy; // otherwise the eject succeeds
    bool answerDiagnosis;
};

class TovoWorkflowStaleEjectTest : public ::testing::TestWithParam<StaleCase> {};

TEST_P(TovoWorkflowStaleEjectTest, ResultIsDroppedAndTheNewSelectionStays) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.listDisks({photos, backup});
    h.start(workflow.attemptEject());
    if (param.answerDiagnosis) {
        h.ejector->ejects.fail(WorkflowHarness::busyFailure());
        h.run();
        ASSERT_EQ(workflow.phase(), EjectionPhase::diagnosing());
    }
    // The user leaves the running operation's screen and picks the other disk.
    h.volumes->listing.enqueueValue({photos, backup});
    h.start(workflow.resetResult());
    workflow.selectDisk(backup.id);
    ASSERT_EQ(workflow.selectedDiskID(), backup.id);
    h.logger.clear();

    if (param.answerDiagnosis) {
        h.diagnoses->resolve({editor});
    } else if (param.failBusy) {
        h.ejector->ejects.fail(WorkflowHarness::busyFailure());
    } else {
        h.ejector->ejects.resolve();
    }
    h.run();

    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
    EXPECT_EQ(workflow.disks(), (std::vector{photos, backup}));
    EXPECT_THAT(workflow.blockers(), IsEmpty());
    EXPECT_EQ(h.diagnoses->callCount(), param.answerDiagnosis ? 1u : 0u);
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::debug, "Ignored a stale operation result"}));
}

INSTANTIATE_TEST_SUITE_P(Results, TovoWorkflowStaleEjectTest,
                         ::testing::Values(StaleCase{"ejectSucceeds", false, false},
                                           StaleCase{"ejectFailsBusy", true, false},
                                           StaleCase{"diagnosisReturns", true, true}),
                         [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo::testing
