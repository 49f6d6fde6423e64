#include "PresentationTestValues.hpp"
#include "Tovo/Support/ReleaseReviewPresentation.hpp"

namespace tovo {
namespace {

using namespace testing;

// Eligible apps, blockers with a manual plan, blockers without a plan, title, message.
using ReviewCase = std::tuple<int, int, int, std::string, std::string>;

class ReleaseReviewTest : public ::testing::TestWithParam<ReviewCase> {};

TEST_P(ReleaseReviewTest, TitleAndMessageCountAppsAndRemainingBlockers) {
    const auto& [eligible, manual, unplanned, title, message] = GetParam();
    std::vector<BlockingProcess> blockers;
    std::vector<ProcessReleasePlan> plans;
    for (int pid = 1; pid <= eligible + manual + unplanned; ++pid) {
        blockers.push_back(makeProcess(pid));
        if (pid <= eligible + manual) {
            plans.push_back(pid <= eligible ? quitPlan(pid) : manualPlan(pid));
        }
    }
    const auto review = ReleaseReviewPresentation::content(
        ProcessPresentation(), makeDisk(1, "345-BACKUP"), blockers, plans);
    EXPECT_EQ(review.eligibleCount, static_cast<std::size_t>(eligible));
    EXPECT_EQ(review.remainingCount, static_cast<std::size_t>(manual + unplanned));
    EXPECT_EQ(review.title, title);
    EXPECT_EQ(review.message, message);
    EXPECT_EQ(review.canConfirm, eligible > 0);
    EXPECT_EQ(review.headerSymbol,
              eligible > 0 ? "checkmark.shield.fill" : "exclamationmark.shield.fill");
    expectThemeIcon(review.headerSymbol);
    EXPECT_EQ(review.confirmTitle, eligible > 0 ? "Ask Apps to Quit" : "Close");
    EXPECT_EQ(review.subline, eligible > 0 ? "Save your work before you continue."
                                           : "Complete the steps below, then check again.");
}

const std::string attention = "\u201C345-BACKUP\u201D still needs attention";
const std::string confirm = "Safely eject \u201C345-BACKUP\u201D?";
const std::string cannot = "Tovo cannot close these blockers. The disk stays mounted until every "
                           "blocker releases it.";
const std::string tail =
    " It ejects only after the disk is no longer in use. It never force quits.";

INSTANTIATE_TEST_SUITE_P(
    Counts, ReleaseReviewTest,
    ::testing::Values(
        ReviewCase{0, 2, 0, attention, cannot}, ReviewCase{0, 0, 0, attention, cannot},
        ReviewCase{1, 0, 0, confirm, "Tovo will ask one app to quit." + tail},
        ReviewCase{1, 1, 0, confirm,
                   "Tovo will ask one app to quit. One blocker still needs you." + tail},
        ReviewCase{3, 1, 2, confirm,
                   "Tovo will ask 3 apps to quit. 3 blockers still need you." + tail}));

TEST(ReleaseReview, EntriesShowEachBlockersPlanOrAskForReview) {
    const auto review = ReleaseReviewPresentation::content(
        ProcessPresentation(), makeDisk(1),
        {makeProcess(1, "Preview"), makeProcess(2, "com.apple.Virtualization.VirtualMachine"),
         makeProcess(3, "rsync")},
        {quitPlan(1, "Tovo will ask this app to quit."), manualPlan(2)});
    ASSERT_EQ(review.entries.size(), 3u);
    EXPECT_EQ(review.entries[0],
              (ReleaseReviewEntry{1, "Preview", "arrow.right.circle.fill",
                                  "Tovo will ask this app to quit.", "Show details for Preview",
                                  "Hide details for Preview"}));
    EXPECT_EQ(review.entries[2].message, "Review this item before you continue.");
}

} // namespace
} // namespace tovo
