#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

namespace tovo::testing {
namespace {

using DiskOutcome = ScriptedOperation<void, ExternalDisk>::Outcome;

// One row of the eject table: what the eject and the diagnosis answer, where the
// workflow ends, what it logs and which disks stay listed.
struct EjectCase {
    const char* label;
    DiskOutcome eject;
    std::optional<DiagnosisOutcome> diagnosis;
    EjectionPhase expectedPhase;
    std::vector<Entry> expectedLog;
    std::vector<ExternalDisk> expectedDisks;
};

EjectCase row(const char* label, DiskOutcome eject, std::optional<DiagnosisOutcome> diagnosis,
              EjectionPhase phase, std::vector<Entry> log, std::vector<ExternalDisk> disks) {
    return {label, eject, diagnosis, phase, log, disks};
}

class TovoWorkflowEjectTableTest : public HarnessParamTest<EjectCase> {};

TEST_P(TovoWorkflowEjectTableTest, EndsInTheRowsPhase) {
    const auto& param = GetParam();
    h.listDisks({photos, backup});
    h.logger.clear();

    h.start(workflow.attemptEject());
    h.ejector->ejects.answer(param.eject);
    h.run();
    if (param.diagnosis) {
        h.diagnoses->answer(*param.diagnosis);
        h.run();
    }

    EXPECT_EQ(workflow.phase(), param.expectedPhase);
    EXPECT_EQ(h.logger.entries(), param.expectedLog);
    EXPECT_EQ(workflow.disks(), param.expectedDisks);
    EXPECT_EQ(workflow.selectedDiskID(), param.expectedDisks.front().id);
}

const Entry started{Level::info, "Eject started"};
const Entry busyLogged{Level::error,
                       "Eject failed kind=busy domain=org.freedesktop.UDisks2.Error code=7"};
const auto busy = DiskOutcome::failure(WorkflowHarness::busyFailure());
const auto retry = FailureRecovery::retryEject;

EjectionPhase couldNotEject(std::string reason, FailureRecovery recovery = retry) {
    return EjectionPhase::failed("Could not eject", std::move(reason), recovery);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TovoWorkflowEjectTableTest,
    ::testing::Values(
        row("succeeds", DiskOutcome::success({}), std::nullopt, EjectionPhase::ejected("Photos"),
            {started, {Level::info, "Eject completed"}}, {backup}),
        row("busyWithBlockers", busy, DiagnosisOutcome::success({editor, shell}),
            EjectionPhase::blocked(),
            {started, busyLogged, {Level::info, "Diagnosis completed blockers=2"}},
            {photos, backup}),
        row("busyWithoutBlockers", busy, DiagnosisOutcome::success({}),
            couldNotEject("The disk is in use."),
            {started, busyLogged, {Level::info, "Diagnosis completed blockers=0"}},
            {photos, backup}),
        row("busyAndDiagnosisFails", busy,
            DiagnosisOutcome::failure(TestError("\n lsof timed out. ")),
            EjectionPhase::failed("Could not inspect this disk",
                                  "The disk is in use. lsof timed out.", retry),
            {started, busyLogged, {Level::error, "Diagnosis failed domain=TestDomain code=42"}},
            {photos, backup}),
        row("identityChangedWithoutDomain",
            DiskOutcome::failure(EjectionFailure("Changed.", std::nullopt,
                                                 EjectionFailureKind::identityChanged, std::nullopt,
                                                 std::nullopt)),
            std::nullopt, couldNotEject("Changed.", FailureRecovery::refreshDisks),
            {started, {Level::error, "Eject failed kind=identityChanged domain=none code=0"}},
            {backup}),
        row("otherFailureWithoutAReason",
            DiskOutcome::failure(EjectionFailure("", std::nullopt, EjectionFailureKind::other,
                                                 "org.freedesktop.UDisks2.Error.Failed", 5)),
            std::nullopt, couldNotEject("The system did not provide a reason."),
            {started,
             {Level::error, "Eject failed kind=other domain="
                            "org.freedesktop.UDisks2.Error.Failed code=5"}},
            {photos, backup}),
        row("unrelatedError", DiskOutcome::failure(TestError("The bus went away.")), std::nullopt,
            couldNotEject("The bus went away."),
            {started, {Level::error, "Eject failed domain=TestDomain code=42"}}, {photos, backup})),
    [](const auto& info) { return std::string(info.param.label); });

// Drives a fresh workflow into `phase` through its own operations, over three listed
// disks with the first one selected; operations in flight stay pending or asleep.
void driveInto(WorkflowHarness& h, const EjectionPhase& phase) {
    const std::vector<ExternalDisk> listed{photos, backup, archive};
    const auto name = phase.caseName();
    h.listDisks(listed);
    if (name == "blocked" || name == "releasing" || name == "stopping" || name == "retrying") {
        h.reachBlocked({editor}, listed);
        h.diagnoses->setValue({});
        if (name == "stopping") {
            h.start(h.workflow->performStop(editor));
        } else if (name != "blocked") {
            h.start(h.workflow->performSafeTovo());
            h.advance(name == "retrying" ? 2s : 0s);
        }
    } else if (name != "ready") {
        if (name == "ejected") {
            h.ejector->ejects.enqueueValue({});
        } else if (const auto* failed = phase.getIf<EjectionPhase::Failed>()) {
            const bool retry = failed->recovery == FailureRecovery::retryEject;
            h.ejector->ejects.enqueueError(EjectionFailure(
                "Changed.", std::nullopt,
                retry ? EjectionFailureKind::other : EjectionFailureKind::identityChanged, "x", 1));
        } else if (name == "diagnosing") {
            h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure());
        }
        h.start(h.workflow->attemptEject());
    }
    ASSERT_EQ(h.workflow->phase().caseName(), name);
}

// Which phases a selection, then an eject, may start from.
struct GuardCase {
    const char* label;
    EjectionPhase phase;
    bool selects;
    bool ejects;
};

class TovoWorkflowGuardTest : public HarnessParamTest<GuardCase> {};

TEST_P(TovoWorkflowGuardTest, SelectionAndEjectStartOnlyWhereThePhaseAllows) {
    const auto& param = GetParam();
    driveInto(h, param.phase);
    const auto before = workflow.selectedDiskID();
    const auto target = workflow.disks().back().id;
    ASSERT_NE(before, target);

    // A refresh started before a selection must not overwrite it afterwards.
    h.start(workflow.refresh());
    workflow.selectDisk(target);
    h.volumes->listing.resolve(param.selects ? std::vector{photos} : workflow.disks());
    h.run();
    EXPECT_EQ(workflow.selectedDiskID(), param.selects ? target : before);
    EXPECT_EQ(workflow.disks().back().id, target);
    // A selection, or the refresh that was this failure's way out, leads back to ready.
    const bool backToReady =
        param.selects ||
        param.phase == EjectionPhase::failed("", "", FailureRecovery::refreshDisks);
    EXPECT_EQ(workflow.phase().caseName(), backToReady ? "ready" : param.phase.caseName());

    const auto ejects = h.ejector->ejects.callCount();
    h.logger.clear();
    h.start(workflow.attemptEject());
    EXPECT_EQ(h.ejector->ejects.callCount(), ejects + (param.ejects ? 1 : 0));
    EXPECT_EQ(workflow.phase().caseName(), param.ejects ? "ejecting" : param.phase.caseName());
    EXPECT_EQ(h.logger.entries(), param.ejects ? std::vector{started} : std::vector<Entry>{});
    if (param.ejects) {
        EXPECT_EQ(h.ejector->ejects.pendingArguments().id, workflow.selectedDiskID());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Phases, TovoWorkflowGuardTest,
    ::testing::ValuesIn(std::vector<GuardCase>{
        {"ready", EjectionPhase::ready(), true, true},
        {"blocked", EjectionPhase::blocked(), true, true},
        {"failedRetry", EjectionPhase::failed("", "", FailureRecovery::retryEject), true, true},
        {"failedRefresh", EjectionPhase::failed("", "", FailureRecovery::refreshDisks), false,
         true},
        {"ejected", EjectionPhase::ejected("Photos"), false, true},
        {"ejecting", EjectionPhase::ejecting(), false, false},
        {"diagnosing", EjectionPhase::diagnosing(), false, false},
        {"releasing", EjectionPhase::releasing(), false, false},
        {"stopping", EjectionPhase::stopping("editor"), false, false},
        {"retrying", EjectionPhase::retrying(), false, false}}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(TovoWorkflowEjectTest, PassesTheDissenterOnlyToADiagnoserThatTakesIt) {
    for (const bool aware : {true, false}) {
        WorkflowHarness h(WorkflowOptions{.dissentAware = aware});
        h.listDisks({photos});
        h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure(4242));
        h.diagnoses->enqueueValue({editor});

        h.start(h.workflow->attemptEject());

        EXPECT_THAT(h.diagnoses->calls(),
                    ElementsAre(aware ? DiagnosisCall{photos, true, 4242}
                                      : DiagnosisCall{photos, false, std::nullopt}));
    }
}

} // namespace
} // namespace tovo::testing
