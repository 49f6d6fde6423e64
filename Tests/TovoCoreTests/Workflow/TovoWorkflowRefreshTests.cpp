#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace tovo::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Level = LogLevel;

const ExternalDisk photos = makeDisk(1, "Photos");
const ExternalDisk backup = makeDisk(2, "Backup");
const ExternalDisk archive = makeDisk(3, "Archive");

class TovoWorkflowRefreshTest : public ::testing::Test {
protected:
    WorkflowHarness h;
    TovoWorkflow& workflow = *h.workflow;
};

TEST_F(TovoWorkflowRefreshTest, FirstRefreshSelectsTheFirstDiskAndLogs) {
    h.listDisks({photos, backup});

    EXPECT_EQ(workflow.disks(), (std::vector{photos, backup}));
    EXPECT_EQ(workflow.selectedDiskID(), photos.id);
    EXPECT_EQ(workflow.selectedDisk(), photos);
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_THAT(h.logger.entries(),
                ElementsAre(RecordingLogger::Entry{Level::debug, "Disk refresh started"},
                            RecordingLogger::Entry{Level::info, "Disk refresh completed count=2"}));
}

TEST_F(TovoWorkflowRefreshTest, EmptyListClearsTheSelection) {
    h.listDisks({photos});
    h.listDisks({});

    EXPECT_THAT(workflow.disks(), IsEmpty());
    EXPECT_EQ(workflow.selectedDiskID(), std::nullopt);
    EXPECT_EQ(workflow.selectedDisk(), std::nullopt);
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_TRUE(h.logger.contains(Level::info, "Disk refresh completed count=0"));
}

TEST_F(TovoWorkflowRefreshTest, OfTwoRefreshesBackToBackOnlyTheSecondIsApplied) {
    auto first = h.start(workflow.refresh());
    auto second = h.start(workflow.refresh());
    ASSERT_EQ(h.volumes->listing.pendingCount(), 2u);

    h.volumes->listing.resolveNewest({photos, archive});
    h.run();
    EXPECT_TRUE(second.isDone());
    EXPECT_EQ(workflow.disks(), (std::vector{photos, archive}));

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

TEST_F(TovoWorkflowRefreshTest, RefreshKeepingTheSelectionLeavesBlockedStateAlone) {
    const auto editor = makeProcess(501);
    h.reachBlocked({editor});
    const auto plans = workflow.releasePlans();

    h.listDisks({backup, photos, archive});

    EXPECT_EQ(workflow.disks(), (std::vector{backup, photos, archive}));
    EXPECT_EQ(workflow.selectedDiskID(), photos.id);
    EXPECT_EQ(workflow.phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow.blockers(), std::vector{editor});
    EXPECT_EQ(workflow.releasePlans(), plans);
}

TEST_F(TovoWorkflowRefreshTest, RefreshLosingTheSelectionReturnsToReadyWithEmptyLists) {
    h.reachBlocked({makeProcess(501)});

    h.listDisks({backup, archive});

    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_THAT(workflow.blockers(), IsEmpty());
    EXPECT_THAT(workflow.releasePlans(), IsEmpty());
    EXPECT_THAT(workflow.stopPlans(), IsEmpty());
    EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());
}

TEST_F(TovoWorkflowRefreshTest, FailureShowsCouldNotCheckDisksAndEmptiesTheList) {
    h.listDisks({photos});
    h.volumes->listing.enqueueError(std::runtime_error("  \n"));
    h.start(workflow.refresh());

    EXPECT_EQ(workflow.phase(),
              EjectionPhase::failed("Could not check disks", "macOS did not provide a reason.",
                                    FailureRecovery::refreshDisks));
    EXPECT_THAT(workflow.disks(), IsEmpty());
    EXPECT_EQ(workflow.selectedDiskID(), std::nullopt);
    const auto entries = h.logger.entries();
    ASSERT_FALSE(entries.empty());
    EXPECT_EQ(entries.back().level, Level::error);
    EXPECT_TRUE(entries.back().message.starts_with("Disk refresh failed domain="));
    EXPECT_TRUE(entries.back().message.ends_with(" code=0"));
}

TEST_F(TovoWorkflowRefreshTest, FailureOfATovoErrorLogsItsDomainAndCode) {
    h.volumes->listing.enqueueError(
        EjectionFailure("Listing failed.", std::nullopt, EjectionFailureKind::other, "x", 3));
    h.start(workflow.refresh());

    EXPECT_TRUE(h.logger.contains(Level::error,
                                  "Disk refresh failed domain=TovoCore.EjectionFailure code=1"));
    EXPECT_EQ(workflow.phase(), EjectionPhase::failed("Could not check disks", "Listing failed.",
                                                      FailureRecovery::refreshDisks));
}

// A refresh answering while an operation or the success screen is shown.
struct BusyRefreshCase {
    const char* label;
    friend void PrintTo(const BusyRefreshCase& c, std::ostream* os) { *os << c.label; }
    bool fails;
    bool onSuccessScreen;
    std::vector<std::string> expectedLog;
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
    EXPECT_EQ(h.logger.messages(), param.expectedLog);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TovoWorkflowRefreshDuringOperationTest,
    ::testing::Values(BusyRefreshCase{"listDuringEject",
                                      false,
                                      false,
                                      {"Disk refresh started",
                                       "Disk refresh ignored during an active operation"}},
                      BusyRefreshCase{"failureDuringEject", true, false, {"Disk refresh started"}},
                      BusyRefreshCase{
                          "listOnSuccessScreen",
                          false,
                          true,
                          {"Disk refresh started", "Disk refresh deferred on the success screen"}},
                      BusyRefreshCase{"failureOnSuccessScreen",
                                      true,
                                      true,
                                      {"Disk refresh started",
                                       "Disk refresh failure ignored on the success screen"}}),
    [](const auto& info) { return std::string(info.param.label); });

TEST_F(TovoWorkflowRefreshTest, RefreshStartedBeforeAnEjectIsDroppedWhenItReturns) {
    h.listDisks({photos, backup});
    h.start(workflow.refresh()); // pends
    h.start(workflow.attemptEject());
    ASSERT_EQ(workflow.phase(), EjectionPhase::ejecting());
    h.logger.clear();

    h.volumes->listing.resolve({archive});
    h.run();

    EXPECT_EQ(workflow.disks(), (std::vector{photos, backup}));
    EXPECT_THAT(h.logger.messages(), IsEmpty());
    h.ejector->ejects.resolve();
    h.run();
    EXPECT_EQ(workflow.phase(), EjectionPhase::ejected("Photos"));
    EXPECT_EQ(workflow.disks(), std::vector{backup});
}

TEST_F(TovoWorkflowRefreshTest, RefreshInFlightWhenTheEjectSucceedsIsDroppedSilently) {
    h.listDisks({photos, backup});
    h.start(workflow.attemptEject());
    h.start(workflow.refresh()); // started during the eject, still listing the ejected disk
    h.ejector->ejects.resolve();
    h.run();
    h.logger.clear();

    h.volumes->listing.resolve({photos, backup});
    h.run();

    EXPECT_EQ(workflow.phase(), EjectionPhase::ejected("Photos"));
    EXPECT_EQ(workflow.disks(), std::vector{backup});
    EXPECT_THAT(h.logger.entries(), IsEmpty());
}

// Selection: which phases allow it, and what it changes.
struct SelectionCase {
    const char* label;
    friend void PrintTo(const SelectionCase& c, std::ostream* os) { *os << c.label; }
    EjectionPhase phase;
    bool allowed;
};

class TovoWorkflowSelectionTest : public ::testing::TestWithParam<SelectionCase> {};

TEST_P(TovoWorkflowSelectionTest, SelectsOnlyWhereThePhaseAllowsIt) {
    const auto& param = GetParam();
    WorkflowHarness h;
    auto& workflow = *h.workflow;
    driveInto(h, param.phase);
    if (HasFatalFailure()) {
        return;
    }
    const auto before = workflow.selectedDiskID();
    const auto phase = workflow.phase();
    // Pick a listed disk other than the selected one.
    std::string target;
    for (const auto& disk : workflow.disks()) {
        if (disk.id != before) {
            target = disk.id;
            break;
        }
    }
    ASSERT_FALSE(target.empty());

    // A refresh started before a selection must not overwrite it afterwards.
    if (param.allowed) {
        h.start(workflow.refresh());
    }
    workflow.selectDisk(target);
    if (param.allowed) {
        h.volumes->listing.resolve({archive});
        h.run();
    }

    if (param.allowed) {
        EXPECT_EQ(workflow.selectedDiskID(), target);
        EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
        EXPECT_THAT(workflow.blockers(), IsEmpty());
        EXPECT_THAT(workflow.releasePlans(), IsEmpty());
        EXPECT_THAT(workflow.stopPlans(), IsEmpty());
        EXPECT_THAT(workflow.releaseAttempts(), IsEmpty());
        EXPECT_NE(std::ranges::find(workflow.disks(), target, &ExternalDisk::id),
                  workflow.disks().end());
    } else {
        EXPECT_EQ(workflow.selectedDiskID(), before);
        EXPECT_EQ(workflow.phase().caseName(), phase.caseName());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Phases, TovoWorkflowSelectionTest,
    ::testing::Values(SelectionCase{"ready", EjectionPhase::ready(), true},
                      SelectionCase{"blocked", EjectionPhase::blocked(), true},
                      SelectionCase{"failedRetry",
                                    EjectionPhase::failed("", "", FailureRecovery::retryEject),
                                    true},
                      SelectionCase{"failedRefresh",
                                    EjectionPhase::failed("", "", FailureRecovery::refreshDisks),
                                    false},
                      SelectionCase{"ejecting", EjectionPhase::ejecting(), false},
                      SelectionCase{"diagnosing", EjectionPhase::diagnosing(), false},
                      SelectionCase{"releasing", EjectionPhase::releasing(), false},
                      SelectionCase{"stopping", EjectionPhase::stopping("editor"), false},
                      SelectionCase{"retrying", EjectionPhase::retrying(), false},
                      SelectionCase{"ejected", EjectionPhase::ejected("Photos"), false}),
    [](const auto& info) { return std::string(info.param.label); });

TEST_F(TovoWorkflowRefreshTest, SelectingTheSameOrAnUnknownDiskChangesNothing) {
    h.listDisks({photos, backup});
    h.start(workflow.refresh()); // pends; would be dropped by a generation bump
    std::vector<WorkflowProperty> announced;
    workflow.addObserver([&](WorkflowProperty property) { announced.push_back(property); });

    workflow.selectDisk(photos.id);
    workflow.selectDisk("attachment:999");
    h.volumes->listing.resolve({backup, photos});
    h.run();

    EXPECT_EQ(workflow.selectedDiskID(), photos.id);
    EXPECT_EQ(workflow.disks(), (std::vector{backup, photos})) << "no generation bump";
    EXPECT_EQ(announced, std::vector{WorkflowProperty::disks});
}

TEST_F(TovoWorkflowRefreshTest, ResetResultLeavesTheSuccessScreenAndRefreshes) {
    h.listDisks({photos, backup});
    h.ejector->ejects.enqueueValue({});
    h.start(workflow.attemptEject());
    ASSERT_EQ(workflow.phase(), EjectionPhase::ejected("Photos"));

    h.volumes->listing.enqueueValue({backup, archive});
    auto reset = h.start(workflow.resetResult());

    EXPECT_TRUE(reset.isDone());
    EXPECT_EQ(workflow.phase(), EjectionPhase::ready());
    EXPECT_EQ(workflow.disks(), (std::vector{backup, archive}));
    EXPECT_EQ(workflow.selectedDiskID(), backup.id);
}

TEST_F(TovoWorkflowRefreshTest, ObserversHearOfEachChangeBeforeItHappens) {
    std::vector<std::pair<WorkflowProperty, std::string>> seen;
    const auto token = workflow.addObserver([&](WorkflowProperty property) {
        if (property == WorkflowProperty::phase) {
            seen.emplace_back(property, std::string(workflow.phase().caseName()));
        } else if (property == WorkflowProperty::disks) {
            seen.emplace_back(property, std::to_string(workflow.disks().size()));
        }
    });
    h.listDisks({photos, backup});
    h.ejector->ejects.enqueueValue({});
    h.start(workflow.attemptEject());

    // Each entry holds the value the property had just before it changed.
    EXPECT_THAT(seen, ElementsAre(std::pair{WorkflowProperty::disks, std::string("0")},
                                  std::pair{WorkflowProperty::phase, std::string("ready")},
                                  std::pair{WorkflowProperty::phase, std::string("ready")},
                                  std::pair{WorkflowProperty::disks, std::string("2")},
                                  std::pair{WorkflowProperty::phase, std::string("ejecting")}));

    workflow.removeObserver(token);
    seen.clear();
    h.listDisks({backup});
    EXPECT_THAT(seen, IsEmpty());
}

} // namespace
} // namespace tovo::testing
