#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

#include <stdexcept>

namespace tovo::testing {
namespace {

class TovoWorkflowRefreshTest : public ::testing::Test {
protected:
    WorkflowHarness h;
    TovoWorkflow& workflow = *h.workflow;
};

TEST_F(TovoWorkflowRefreshTest, KeepsAListedSelectionAndItsStateElsePicksTheFirstDisk) {
    h.listDisks({photos, backup});
    EXPECT_EQ(workflow.selectedDisk(), photos);
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::debug, "Disk refresh started"},
                            Entry{Level::info, "Disk refresh completed count=2"}));
    h.reachBlocked({editor});
    const auto plans = workflow.releasePlans();

    h.listDisks({backup, photos, archive});
    EXPECT_EQ(workflow.selectedDiskID(), photos.id);
    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.blockers(), Processes{editor});
    EXPECT_EQ(workflow.releasePlans(), plans);

    // Losing the selection instead returns to ready with empty lists.
    h.listDisks({backup, archive});
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_THAT(workflow.blockers(), IsEmpty());
    EXPECT_THAT(workflow.releasePlans(), IsEmpty());
    EXPECT_THAT(workflow.stopPlans(), IsEmpty());
    h.listDisks({});
    EXPECT_EQ(workflow.selectedDisk(), std::nullopt);
}

TEST_F(TovoWorkflowRefreshTest, OfTwoRefreshesBackToBackOnlyTheSecondIsApplied) {
    auto first = h.start(workflow.refresh());
    h.start(workflow.refresh());
    h.volumes->listing.resolveNewest({photos, archive});
    h.run();

    // The first answers last, with another list: dropped without a trace.
    h.volumes->listing.resolve({backup});
    h.run();

    EXPECT_TRUE(first.isDone());
    EXPECT_EQ(workflow.disks(), (std::vector{photos, archive}));
    EXPECT_EQ(workflow.selectedDiskID(), photos.id);
    EXPECT_EQ(h.logger.messages(),
              (std::vector<std::string>{"Disk refresh started", "Disk refresh started",
                                        "Disk refresh completed count=2"}));
}

TEST_F(TovoWorkflowRefreshTest, FailureShowsCouldNotCheckDisksAndEmptiesTheList) {
    h.listDisks({photos});
    h.volumes->listing.enqueueError(std::runtime_error("  \n"));
    h.start(workflow.refresh());

    EXPECT_EQ(workflow.phase(),
              EjectionPhase::failed("Could not check disks", "The system did not provide a reason.",
                                    FailureRecovery::refreshDisks));
    EXPECT_THAT(workflow.disks(), IsEmpty());
    EXPECT_EQ(workflow.selectedDiskID(), std::nullopt);
    const auto last = h.logger.entries().back();
    EXPECT_EQ(last.level, Level::error);
    EXPECT_TRUE(last.message.starts_with("Disk refresh failed domain="));
}

TEST_F(TovoWorkflowRefreshTest, RefreshingAfterAChangedIdentityLeadsBackToAUsableScreen) {
    h.listDisks({photos, backup});
    h.ejector->ejects.enqueueError(
        EjectionFailure("The disk identity changed. Refresh the list and try again.", std::nullopt,
                        EjectionFailureKind::identityChanged, std::nullopt, std::nullopt));
    h.start(workflow.attemptEject());
    ASSERT_EQ(workflow.selectedDiskID(), backup.id);
    ASSERT_EQ(workflow.phase().getIf<EjectionPhase::Failed>()->recovery,
              FailureRecovery::refreshDisks);
    ASSERT_FALSE(workflow.phase().allowsDiskSelection());

    // The offered recovery, with the remaining disk still listed.
    h.listDisks({backup});
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
    EXPECT_THAT(workflow.blockers(), IsEmpty());
    EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());
}

// A refresh answering while an operation or the success screen is shown.
struct BusyRefreshCase {
    const char* label;
    bool fails;
    bool onSuccessScreen;
    const char* expectedLog; // after "Disk refresh started"; null for nothing
};

class TovoWorkflowRefreshDuringOperationTest : public ::testing::TestWithParam<BusyRefreshCase> {};

TEST_P(TovoWorkflowRefreshDuringOperationTest, LeavesTheStateUntouched) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    h.listDisks({photos, backup});
    if (param.onSuccessScreen) {
        h.ejector->ejects.enqueueValue({});
    }
    h.start(workflow.attemptEject()); // pends in `ejecting` unless scripted
    const auto phase = workflow.phase();
    const auto disks = workflow.disks();
    h.logger.clear();

    if (param.fails) {
        h.volumes->listing.enqueueError(std::runtime_error("gone"));
    } else {
        h.volumes->listing.enqueueValue({archive});
    }
    h.start(workflow.refresh());

    EXPECT_EQ(workflow.phase(), phase);
    EXPECT_EQ(workflow.disks(), disks);
    auto expected = std::vector<std::string>{"Disk refresh started"};
    if (param.expectedLog) {
        expected.push_back(param.expectedLog);
    }
    EXPECT_EQ(h.logger.messages(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TovoWorkflowRefreshDuringOperationTest,
    ::testing::Values(BusyRefreshCase{"listDuringEject", false, false,
                                      "Disk refresh ignored during an active operation"},
                      BusyRefreshCase{"failureDuringEject", true, false, nullptr},
                      BusyRefreshCase{"listOnSuccessScreen", false, true,
                                      "Disk refresh deferred on the success screen"},
                      BusyRefreshCase{"failureOnSuccessScreen", true, true,
                                      "Disk refresh failure ignored on the success screen"}),
    [](const auto& info) { return std::string(info.param.label); });

TEST_F(TovoWorkflowRefreshTest, RefreshesInFlightAroundAnEjectAreDroppedUntilTheResultIsReset) {
    h.listDisks({photos, backup});
    h.start(workflow.refresh()); // started before the eject
    h.start(workflow.attemptEject());
    h.start(workflow.refresh()); // started during the eject, answers after its success
    h.logger.clear();

    h.volumes->listing.resolve({archive});
    h.run();
    EXPECT_EQ(workflow.disks(), (std::vector{photos, backup}));
    h.ejector->ejects.resolve();
    h.run();
    h.volumes->listing.resolve({photos, backup});
    h.run();

    EXPECT_EQ(workflow.phase(), EjectionPhase::ejected("Photos"));
    EXPECT_EQ(workflow.disks(), std::vector{backup});
    EXPECT_EQ(h.logger.messages(), (std::vector<std::string>{"Eject completed"}));

    // Leaving the success screen refreshes at once.
    h.volumes->listing.enqueueValue({backup, archive});
    h.start(workflow.resetResult());
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_EQ(workflow.disks(), (std::vector{backup, archive}));
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
}

TEST_F(TovoWorkflowRefreshTest, ObserversHearOfEachChangeBeforeItHappens) {
    std::vector<std::string> seen;
    const auto token = workflow.addObserver([&](WorkflowProperty property) {
        if (property == WorkflowProperty::phase) {
            seen.push_back("phase was " + std::string(workflow.phase().caseName()));
        } else if (property == WorkflowProperty::disks) {
            seen.push_back("disks were " + std::to_string(workflow.disks().size()));
        }
    });
    h.listDisks({photos, backup});
    h.ejector->ejects.enqueueValue({});
    h.start(workflow.attemptEject());

    EXPECT_EQ(seen, (std::vector<std::string>{"disks were 0", "phase was ready", "phase was ready",
                                              "disks were 2", "phase was ejecting"}));
    workflow.removeObserver(token);
    seen.clear();
    h.listDisks({backup});
    EXPECT_THAT(seen, IsEmpty());
}

} // namespace
} // namespace tovo::testing
