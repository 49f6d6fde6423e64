#include "PresentationTestValues.hpp"
#include "Tovo/Support/Announcements.hpp"
#include "Tovo/Support/StatusPresentation.hpp"

namespace tovo {
namespace {

using namespace testing;

struct StatusCase {
    EjectionPhase phase;
    StatusViewKind kind;
    std::string title;
    std::string message;
    std::optional<std::string> announcement;
};

class StatusTest : public ::testing::TestWithParam<StatusCase> {};

std::vector<BlockingProcess> twoBlockers() {
    return {makeProcess(1), makeProcess(2)};
}

TEST_P(StatusTest, ShowsTheCardTitleMessageAndAnnouncementOfThePhase) {
    const auto& c = GetParam();
    const auto content =
        StatusPresentation::content(c.phase, makeDisk(3, "345-BACKUP"), twoBlockers(), {});
    EXPECT_EQ(content.kind, c.kind);
    EXPECT_EQ(content.title, c.title);
    EXPECT_EQ(content.message, c.message);
    expectThemeIcon(content.symbol);
    EXPECT_EQ(announcement(c.phase), c.announcement);
}

using enum StatusViewKind;
const std::string quit = "Asking eligible apps to quit.";
const std::string gone = "The blockers are gone.";

INSTANTIATE_TEST_SUITE_P(
    Phases, StatusTest,
    ::testing::Values(
        StatusCase{EjectionPhase::ready(), ready, "Ready to eject",
                   "Tovo will try the system's normal eject first.", std::nullopt},
        StatusCase{EjectionPhase::ejecting(), busy, "Checking \u201C345-BACKUP\u201D\u2026",
                   "Trying a normal eject first.", "Checking the disk."},
        StatusCase{EjectionPhase::diagnosing(), busy, "Finding what is in the way\u2026",
                   "Checking which apps and services have files open.",
                   "Finding what is using the disk."},
        StatusCase{EjectionPhase::blocked(), blocked, "2 apps or services are using this disk",
                   "Follow the steps below, then check again.", "The disk is still in use."},
        StatusCase{EjectionPhase::releasing(), busy, "Releasing \u201C345-BACKUP\u201D\u2026", quit,
                   quit},
        StatusCase{EjectionPhase::retrying(), busy, "Ejecting \u201C345-BACKUP\u201D\u2026", gone,
                   gone + " Ejecting the disk."},
        StatusCase{EjectionPhase::stopping("Virtual Machine"), busy,
                   "Stopping \u201CVirtual Machine\u201D\u2026",
                   "Waiting for it to release the disk.", "Stopping Virtual Machine."},
        StatusCase{EjectionPhase::ejected("Old Name"), success, "Ejected safely",
                   "You can unplug \u201COld Name\u201D.", "Old Name ejected safely."},
        StatusCase{EjectionPhase::failed("Tovo stopped safely", "The disk changed.",
                                         FailureRecovery::retryEject),
                   failure, "Tovo stopped safely", "The disk changed.",
                   "Tovo stopped safely. The disk changed."}));

TEST(Status, WithoutADiskAsksForOneOrNamesNone) {
    const auto status = [](EjectionPhase phase) {
        return StatusPresentation::content(phase, std::nullopt, twoBlockers(), {});
    };
    EXPECT_EQ(status(EjectionPhase::ready()).kind, emptyDisks);
    EXPECT_EQ(status(EjectionPhase::ready()).title, "No external disks");
    EXPECT_EQ(status(EjectionPhase::ready()).message, "Connect a disk to get started.");
    EXPECT_EQ(status(EjectionPhase::ejecting()).title, "Checking disk\u2026");
    EXPECT_EQ(status(EjectionPhase::releasing()).title, "Releasing disk\u2026");
    EXPECT_EQ(status(EjectionPhase::retrying()).title, "Ejecting disk\u2026");
}

TEST(BlockedStatus, CountsBlockersAndPointsToTheReviewOnlyWhenAnAppCanBeAsked) {
    const auto content = [](std::size_t blockers, std::vector<ProcessReleasePlan> plans) {
        return StatusPresentation::content(EjectionPhase::blocked(), makeDisk(1),
                                           std::vector(blockers, makeProcess(1)), plans);
    };
    EXPECT_EQ(content(1, {}).title, "One app or service is using this disk");
    EXPECT_EQ(content(2, {manualPlan(1)}).message, "Follow the steps below, then check again.");
    EXPECT_EQ(content(3, {manualPlan(1), quitPlan(2)}).message,
              "Review what Tovo can quit before you continue.");
}

// Before the first listing answers, "No external disks" would be a guess.
TEST(StatusBeforeListing, LooksForDisksUntilTheFirstListingAnswers) {
    const auto ready = EjectionPhase::ready();
    const auto looking = StatusPresentation::windowContent(ready, std::nullopt, {}, {}, {}, false);
    EXPECT_EQ(looking.kind, StatusViewKind::busy);
    EXPECT_EQ(looking.title, "Looking for disks\u2026");
    EXPECT_EQ(StatusPresentation::windowContent(ready, std::nullopt, {}, {}, {}, true).title,
              "No external disks");
    EXPECT_EQ(StatusPresentation::windowContent(ready, makeDisk(1, "A"), {}, {}, {}, false).title,
              "Ready to eject");
}

TEST(StatusSummary, JoinsTitleAndMessageAsOneSentenceForScreenReaders) {
    const auto summary = [](std::string title, std::string message) {
        return StatusPresentation::accessibleSummary(
            {StatusViewKind::busy, std::move(title), std::move(message), {}, {}});
    };
    EXPECT_EQ(summary("Ready to eject", "Tovo will try."), "Ready to eject. Tovo will try.");
    EXPECT_EQ(summary("Checking \u201CA\u201D\u2026", "Trying."),
              "Checking \u201CA\u201D\u2026 Trying.");
    EXPECT_EQ(summary("Looking for disks\u2026", ""), "Looking for disks\u2026");
}

} // namespace
} // namespace tovo
