#include "PresentationTestValues.hpp"
#include "Tovo/Support/Announcements.hpp"
#include "Tovo/Support/StatusPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::makeDisk;
using testing::makeProcess;

struct StatusCase {
    std::string label;
    EjectionPhase phase;
    bool hasDisk;
    StatusViewKind kind;
    std::string title;
    std::string message;
    std::optional<std::string> announcement;
    friend void PrintTo(const StatusCase& c, std::ostream* os) { *os << c.label; }
};

class StatusTest : public ::testing::TestWithParam<StatusCase> {};

TEST_P(StatusTest, ShowsTheCardTitleAndMessageOfThePhase) {
    const auto& c = GetParam();
    const auto disk = c.hasDisk ? std::optional(makeDisk(3, "345-BACKUP")) : std::nullopt;
    const auto content = StatusPresentation::content(c.phase, disk, {makeProcess(10)}, {});
    EXPECT_EQ(content.kind, c.kind);
    EXPECT_EQ(content.title, c.title);
    EXPECT_EQ(content.message, c.message);
}

TEST_P(StatusTest, AnnouncesThePhase) {
    EXPECT_EQ(announcement(GetParam().phase), GetParam().announcement);
}

using enum StatusViewKind;

INSTANTIATE_TEST_SUITE_P(
    Phases, StatusTest,
    ::testing::Values(
        StatusCase{"Ready", EjectionPhase::ready(), true, ready, "Ready to eject",
                   "Tovo will try the normal macOS eject first.", std::nullopt},
        StatusCase{"ReadyWithoutDisk", EjectionPhase::ready(), false, emptyDisks,
                   "No external disks", "Connect a disk to get started.", std::nullopt},
        StatusCase{"Ejecting", EjectionPhase::ejecting(), true, busy,
                   "Checking \u201C345-BACKUP\u201D\u2026", "Trying a normal eject first.",
                   "Checking the disk."},
        StatusCase{"EjectingWithoutDisk", EjectionPhase::ejecting(), false, busy,
                   "Checking disk\u2026", "Trying a normal eject first.", "Checking the disk."},
        StatusCase{"Diagnosing", EjectionPhase::diagnosing(), true, busy,
                   "Finding what is in the way\u2026",
                   "Checking which apps and services have files open.",
                   "Finding what is using the disk."},
        StatusCase{"Blocked", EjectionPhase::blocked(), true, blocked,
                   "One app or service is using this disk",
                   "Follow the steps below, then check again.", "The disk is still in use."},
        StatusCase{"Releasing", EjectionPhase::releasing(), true, busy,
                   "Releasing \u201C345-BACKUP\u201D\u2026", "Asking eligible apps to quit.",
                   "Asking eligible apps to quit."},
        StatusCase{"ReleasingWithoutDisk", EjectionPhase::releasing(), false, busy,
                   "Releasing disk\u2026", "Asking eligible apps to quit.",
                   "Asking eligible apps to quit."},
        StatusCase{"Retrying", EjectionPhase::retrying(), true, busy,
                   "Ejecting \u201C345-BACKUP\u201D\u2026", "The blockers are gone.",
                   "The blockers are gone. Ejecting the disk."},
        StatusCase{"RetryingWithoutDisk", EjectionPhase::retrying(), false, busy,
                   "Ejecting disk\u2026", "The blockers are gone.",
                   "The blockers are gone. Ejecting the disk."},
        StatusCase{"StoppingNamesTheProcessNotTheDisk", EjectionPhase::stopping("Virtual Machine"),
                   true, busy, "Stopping \u201CVirtual Machine\u201D\u2026",
                   "Waiting for it to release the disk.", "Stopping Virtual Machine."},
        StatusCase{"EjectedNamesThePhasesDisk", EjectionPhase::ejected("Old Name"), false, success,
                   "Ejected safely", "You can unplug \u201COld Name\u201D.",
                   "Old Name ejected safely."},
        StatusCase{"Failed",
                   EjectionPhase::failed("Tovo stopped safely", "The disk changed.",
                                         FailureRecovery::retryEject),
                   true, failure, "Tovo stopped safely", "The disk changed.",
                   "Tovo stopped safely. The disk changed."}),
    [](const auto& info) { return info.param.label; });

TEST(BlockedStatus, TitleCountsBlockers) {
    EXPECT_EQ(StatusPresentation::blockedTitle(1), "One app or service is using this disk");
    EXPECT_EQ(StatusPresentation::blockedTitle(2), "2 apps or services are using this disk");
    EXPECT_EQ(StatusPresentation::blockedTitle(12), "12 apps or services are using this disk");
    EXPECT_EQ(StatusPresentation::blockedTitle(0), "0 apps or services are using this disk");
}

TEST(BlockedStatus, MessagePointsToTheReviewOnlyWhenAnAppCanBeAsked) {
    using testing::manualPlan;
    using testing::quitPlan;
    const auto review = "Review what Tovo can quit before you continue.";
    const auto manual = "Follow the steps below, then check again.";
    EXPECT_EQ(StatusPresentation::blockedMessage({}), manual);
    EXPECT_EQ(StatusPresentation::blockedMessage({manualPlan(1), manualPlan(2)}), manual);
    EXPECT_EQ(StatusPresentation::blockedMessage({manualPlan(1), quitPlan(2)}), review);
}

TEST(BlockedStatus, PanelUsesTheWorkflowsBlockersAndPlans) {
    const auto content = StatusPresentation::content(
        EjectionPhase::blocked(), makeDisk(1), {makeProcess(1), makeProcess(2), makeProcess(3)},
        {testing::quitPlan(2)});
    EXPECT_EQ(content.title, "3 apps or services are using this disk");
    EXPECT_EQ(content.message, "Review what Tovo can quit before you continue.");
    EXPECT_EQ(content.symbol, "exclamationmark.triangle.fill");
}

TEST(StatusSymbols, SuccessIsGreenAndFailureRed) {
    const auto success =
        StatusPresentation::content(EjectionPhase::ejected("D"), std::nullopt, {}, {});
    EXPECT_EQ(success.symbol, "checkmark.circle.fill");
    EXPECT_EQ(success.symbolColor, SymbolColor::green);
    const auto failure = StatusPresentation::content(
        EjectionPhase::failed("T", "M", FailureRecovery::refreshDisks), std::nullopt, {}, {});
    EXPECT_EQ(failure.symbol, "xmark.octagon.fill");
    EXPECT_EQ(failure.symbolColor, SymbolColor::red);
    for (const auto& phase : {EjectionPhase::ejecting(), EjectionPhase::stopping("x")}) {
        EXPECT_FALSE(StatusPresentation::content(phase, std::nullopt, {}, {}).symbol);
    }
}

} // namespace
} // namespace tovo
