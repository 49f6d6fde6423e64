#include "PresentationTestValues.hpp"
#include "Tovo/Support/ReleaseReviewPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::makeDisk;
using testing::makeProcess;
using testing::manualPlan;
using testing::quitPlan;

struct ReviewCase {
    std::string label;
    int eligible;
    int manual;
    int unplanned;
    std::string title;
    std::string message;
    friend void PrintTo(const ReviewCase& c, std::ostream* os) { *os << c.label; }
};

class ReleaseReviewTest : public ::testing::TestWithParam<ReviewCase> {};

TEST_P(ReleaseReviewTest, TitleAndMessageCountAppsAndRemainingBlockers) {
    const auto& c = GetParam();
    std::vector<BlockingProcess> blockers;
    std::vector<ProcessReleasePlan> plans;
    std::int32_t pid = 100;
    for (int i = 0; i < c.eligible; ++i, ++pid) {
        blockers.push_back(makeProcess(pid));
        plans.push_back(quitPlan(pid));
    }
    for (int i = 0; i < c.manual; ++i, ++pid) {
        blockers.push_back(makeProcess(pid));
        plans.push_back(manualPlan(pid));
    }
    for (int i = 0; i < c.unplanned; ++i, ++pid) {
        blockers.push_back(makeProcess(pid));
    }
    const auto review = ReleaseReviewPresentation::content(
        ProcessPresentation(), makeDisk(1, "345-BACKUP"), blockers, plans);
    EXPECT_EQ(review.eligibleCount, static_cast<std::size_t>(c.eligible));
    EXPECT_EQ(review.remainingCount, static_cast<std::size_t>(c.manual + c.unplanned));
    EXPECT_EQ(review.title, c.title);
    EXPECT_EQ(review.message, c.message);
    EXPECT_EQ(review.canConfirm, c.eligible > 0);
    EXPECT_EQ(review.entries.size(), blockers.size());
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
        ReviewCase{"NoneEligible", 0, 2, 0, attention, cannot},
        ReviewCase{"NoBlockersAtAll", 0, 0, 0, attention, cannot},
        ReviewCase{"OneApp", 1, 0, 0, confirm, "Tovo will ask one app to quit." + tail},
        ReviewCase{"OneAppOneRemaining", 1, 1, 0, confirm,
                   "Tovo will ask one app to quit. One blocker still needs you." + tail},
        ReviewCase{"SeveralAppsSeveralRemaining", 3, 1, 2, confirm,
                   "Tovo will ask 3 apps to quit. 3 blockers still need you." + tail},
        ReviewCase{"TwoAppsTwoRemaining", 2, 0, 2, confirm,
                   "Tovo will ask 2 apps to quit. 2 blockers still need you." + tail}),
    [](const auto& info) { return info.param.label; });

TEST(ReleaseReview, HeaderAndButtonsFollowWhetherAnythingCanBeConfirmed) {
    const auto disk = makeDisk(1);
    const auto withApps = ReleaseReviewPresentation::content(ProcessPresentation(), disk,
                                                             {makeProcess(1)}, {quitPlan(1)});
    EXPECT_EQ(withApps.headerSymbol, "checkmark.shield.fill");
    EXPECT_EQ(withApps.subline, "Save your work before you continue.");
    EXPECT_EQ(withApps.cancelTitle, "Cancel");
    EXPECT_EQ(withApps.confirmAccessibilityHint,
              "Asks eligible apps to quit, rechecks the disk, then ejects it.");

    const auto without = ReleaseReviewPresentation::content(ProcessPresentation(), disk,
                                                            {makeProcess(1)}, {manualPlan(1)});
    EXPECT_EQ(without.headerSymbol, "exclamationmark.shield.fill");
    EXPECT_EQ(without.subline, "Complete the steps below, then check again.");
    EXPECT_FALSE(without.cancelTitle);
    EXPECT_FALSE(without.confirmAccessibilityHint);
    EXPECT_EQ(without.confirmTitle, "Close");
}

TEST(ReleaseReview, EntriesShowEachBlockersPlanOrAskForReview) {
    const auto review = ReleaseReviewPresentation::content(
        ProcessPresentation(), makeDisk(1),
        {makeProcess(1, "Preview"), makeProcess(2, "com.apple.Virtualization.VirtualMachine"),
         makeProcess(3, "rsync")},
        {quitPlan(1, "Tovo will ask this app to quit."), manualPlan(2, "Stop the VM.")});
    ASSERT_EQ(review.entries.size(), 3u);
    EXPECT_EQ(review.entries[0],
              (ReleaseReviewEntry{1, "Preview", "arrow.right.circle.fill",
                                  "Tovo will ask this app to quit.", "Show details for Preview",
                                  "Hide details for Preview"}));
    EXPECT_EQ(review.entries[1].name, "Virtual Machine");
    EXPECT_EQ(review.entries[1].symbol, "exclamationmark.circle.fill");
    EXPECT_EQ(review.entries[1].message, "Stop the VM.");
    EXPECT_EQ(review.entries[2].symbol, "exclamationmark.circle.fill");
    EXPECT_EQ(review.entries[2].message, "Review this item before you continue.");
}

TEST(ReleaseReviewDeathTest, MoreEligiblePlansThanBlockersIsAFault) {
    EXPECT_DEATH(
        ReleaseReviewPresentation::content(ProcessPresentation(), makeDisk(1), {}, {quitPlan(1)}),
        "");
}

} // namespace
} // namespace tovo
