#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

#include <stdexcept>

namespace tovo::testing {
namespace {

using TovoWorkflowRefreshTest = HarnessTest;

TEST_F(TovoWorkflowRefreshTest, KeepsAListedSelectionAndItsStateElsePicksTheFirstDisk) {
    h.listDisks({photos, backup});
    EXPECT_EQ(workflow.selectedDisk(), photos);
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(Entry{Level::debug, "Disk refresh started"},
                            Entry{Level::info, "Disk refresh completed count=2"}));
    h.reachBlocked({editor});
    const auto plans = workflow.releasePlans();
    // Picking the shown disk again, or one no longer listed, must not wipe the screen.
    workflow.selectDisk(photos.id);
    workflow.selectDisk("attachment:99");

    h.listDisks({backup, photos, archive});
    EXPECT_EQ(workflow.selectedDiskID(), photos.id);
    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.blockers(), Processes{editor});
    EXPECT_EQ(workflow.releasePlans(), plans);
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

// A refresh answering while an operation or the success screen is shown.
struct BusyRefreshCase {
    const char* label;
    bool fails;
    bool onSuccessScreen;
    const char* expectedLog; // after "Disk refresh started"; null for nothing
};

class TovoWorkflowRefreshDuringOperationTest : public HarnessParamTest<BusyRefreshCase> {};

TEST_P(TovoWorkflowRefreshDuringOperationTest, LeavesTheStateUntouched) {
    const auto& param = GetParam();
    h.listDisks({photos, backup});
    if (param.onSuccessScreen) {
        h.ejector->ejects.enqueueValue({});
    }
    h.start(workflow.attemptEject()); // pends in `ejecting` unless scripted
    const auto phase = workflow.phase();
    const auto disks = workflow.disks();
    h.logger.clear();

    param.fails ? h.volumes->listing.enqueueError(std::runtime_error("gone"))
                : h.volumes->listing.enqueueValue({archive});
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

// Every way out of a screen full of lists leaves none of them behind.
enum class WayOut {
    refreshFails,
    refreshLosesTheSelection,
    otherDiskSelected,
    resultReset,
    ejectAgain
};

const char* const ways[] = {"refreshFails", "selectionLost", "otherDisk", "reset", "ejectAgain"};

class TovoWorkflowClearingTest : public HarnessParamTest<WayOut> {};

TEST_P(TovoWorkflowClearingTest, LeavesNoListBehind) {
    h.reachFullyBlocked();
    auto phase = EjectionPhase::ready();
    std::vector disks{photos, backup};
    std::optional<std::string> selection = photos.id;
    switch (GetParam()) {
    case WayOut::refreshFails:
        h.volumes->listing.enqueueError(std::runtime_error("  \n"));
        h.start(workflow.refresh());
        EXPECT_TRUE(h.logger.entries().back().message.starts_with("Disk refresh failed domain="));
        phase =
            EjectionPhase::failed("Could not check disks", "The system did not provide a reason.",
                                  FailureRecovery::refreshDisks);
        disks.clear();
        selection.reset();
        break;
    case WayOut::refreshLosesTheSelection:
        disks = {backup, archive};
        h.listDisks(disks);
        selection = backup.id;
        break;
    case WayOut::otherDiskSelected:
        workflow.selectDisk(backup.id);
        selection = backup.id;
        break;
    case WayOut::resultReset:
        disks = {photos, archive};
        h.volumes->listing.enqueueValue(disks);
        h.start(workflow.resetResult());
        break;
    case WayOut::ejectAgain:
        h.start(workflow.attemptEject());
        phase = EjectionPhase::ejecting();
        break;
    }

    EXPECT_EQ(
        std::tuple(workflow.phase(), workflow.disks(), workflow.selectedDiskID(), h.listSizes()),
        std::tuple(phase, disks, selection, ListSizes{}));
}

INSTANTIATE_TEST_SUITE_P(Ways, TovoWorkflowClearingTest,
                         ::testing::Values(WayOut::refreshFails, WayOut::refreshLosesTheSelection,
                                           WayOut::otherDiskSelected, WayOut::resultReset,
                                           WayOut::ejectAgain),
                         [](const auto& info) { return std::string(ways[info.index]); });

// A refresh started before an operation and answering after it ended lists an older
// state than the one the operation left: it is dropped.
enum class LateFor { ejected, failedEject, release, stop };

const char* const lateNames[] = {"ejected", "failedEject", "release", "stop"};

class TovoWorkflowLateRefreshTest : public HarnessParamTest<LateFor> {};

TEST_P(TovoWorkflowLateRefreshTest, IsDropped) {
    h.quitForApps().reachBlocked({editor});
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    h.diagnoses->setValue({editor});
    h.start(workflow.refresh());
    if (GetParam() == LateFor::ejected) {
        h.start(workflow.attemptEject());
        h.start(workflow.refresh()); // and another one during the eject
        h.ejector->ejects.resolve();
        h.run();
    } else if (GetParam() == LateFor::failedEject) {
        h.ejector->ejects.enqueueError(TestError());
        h.start(workflow.attemptEject());
    } else if (GetParam() == LateFor::release) {
        h.start(workflow.performSafeTovo());
    } else {
        h.stopper->stops.enqueueValue(attemptFor(editor, ReleaseDisposition::failed));
        h.start(workflow.performStop(editor));
    }
    h.runOutTheClock();
    ASSERT_FALSE(workflow.phase().isBusy());
    const auto phase = workflow.phase();
    const auto disks = workflow.disks();
    h.logger.clear();

    h.volumes->listing.resolve({archive});
    if (GetParam() == LateFor::ejected) {
        h.volumes->listing.resolve({archive});
    }
    h.run();

    EXPECT_EQ(workflow.phase(), phase);
    EXPECT_EQ(workflow.disks(), disks);
    EXPECT_EQ(workflow.selectedDiskID(), disks.front().id);
    EXPECT_THAT(h.logger.entries(), IsEmpty()) << "dropped, not deferred";
}

INSTANTIATE_TEST_SUITE_P(Operations, TovoWorkflowLateRefreshTest,
                         ::testing::Values(LateFor::ejected, LateFor::failedEject, LateFor::release,
                                           LateFor::stop),
                         [](const auto& info) { return std::string(lateNames[info.index]); });

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
