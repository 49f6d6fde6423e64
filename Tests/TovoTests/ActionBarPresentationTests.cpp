#include "PresentationTestValues.hpp"
#include "Tovo/Support/ActionBarPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::makeDisk;
using enum PrimaryActionKind;

struct BarCase {
    std::string label;
    EjectionPhase phase;
    PrimaryActionKind kind;
    std::string title;
    std::string accessibilityLabel;
    bool enabled;
    bool isDefault;
    bool offersSafeAction;
    friend void PrintTo(const BarCase& c, std::ostream* os) { *os << c.label; }
};

class ActionBarTest : public ::testing::TestWithParam<BarCase> {};

TEST_P(ActionBarTest, PrimaryActionFitsThePhase) {
    const auto& c = GetParam();
    const auto bar = ActionBarPresentation::content(c.phase, makeDisk(1, "Photos"), {});
    EXPECT_EQ(bar.primary.kind, c.kind);
    EXPECT_EQ(bar.primary.title, c.title);
    EXPECT_EQ(bar.primary.accessibilityLabel, c.accessibilityLabel);
    EXPECT_EQ(bar.primary.isEnabled, c.enabled);
    EXPECT_EQ(bar.primary.isDefaultAction, c.isDefault);
    EXPECT_EQ(bar.safeAction.has_value(), c.offersSafeAction);
}

INSTANTIATE_TEST_SUITE_P(
    Phases, ActionBarTest,
    ::testing::Values(
        BarCase{"Ready", EjectionPhase::ready(), eject, "Eject", "Eject Photos", true, false,
                false},
        BarCase{"Ejecting", EjectionPhase::ejecting(), eject, "Eject", "Eject Photos", false, false,
                false},
        BarCase{"Diagnosing", EjectionPhase::diagnosing(), eject, "Eject", "Eject Photos", false,
                false, false},
        BarCase{"Releasing", EjectionPhase::releasing(), eject, "Eject", "Eject Photos", false,
                false, false},
        BarCase{"Retrying", EjectionPhase::retrying(), eject, "Eject", "Eject Photos", false, false,
                false},
        BarCase{"Stopping", EjectionPhase::stopping("vim"), eject, "Eject", "Eject Photos", false,
                false, false},
        BarCase{"Blocked", EjectionPhase::blocked(), checkAgain, "Check Again",
                "Check whether Photos can eject", true, false, true},
        BarCase{"FailedRetry", EjectionPhase::failed("T", "M", FailureRecovery::retryEject),
                tryAgain, "Try Again", "Try Again", true, false, false},
        BarCase{"FailedRefresh", EjectionPhase::failed("T", "M", FailureRecovery::refreshDisks),
                refresh, "Refresh Disks", "Refresh external disks", true, false, false},
        BarCase{"Ejected", EjectionPhase::ejected("Photos"), done, "Done", "Done", true, true,
                false}),
    [](const auto& info) { return info.param.label; });

TEST(ActionBar, ReadyWithoutDiskCannotEject) {
    const auto bar = ActionBarPresentation::content(EjectionPhase::ready(), std::nullopt, {});
    EXPECT_EQ(bar.primary.kind, eject);
    EXPECT_FALSE(bar.primary.isEnabled);
}

TEST(ActionBar, CheckAgainHintFollowsWhetherTovoCanAskAnApp) {
    const auto hint = [](std::vector<ProcessReleasePlan> plans) {
        return ActionBarPresentation::content(EjectionPhase::blocked(), makeDisk(1), plans)
            .primary.accessibilityHint;
    };
    EXPECT_EQ(hint({testing::manualPlan(1), testing::quitPlan(2)}),
              "Checks whether the listed blockers have released the disk.");
    EXPECT_EQ(hint({testing::manualPlan(1)}), "Follow the steps above, then check the disk again.");
    EXPECT_EQ(hint({}), "Follow the steps above, then check the disk again.");
    const auto bar = ActionBarPresentation::content(EjectionPhase::blocked(), makeDisk(1), {});
    EXPECT_EQ(bar.primary.help, "Check whether the disk can eject now");
}

TEST(ActionBar, SafeActionAndCheckAgainNameTheDisk) {
    const auto bar =
        ActionBarPresentation::content(EjectionPhase::blocked(), makeDisk(1, "345-BACKUP"), {});
    ASSERT_TRUE(bar.safeAction);
    EXPECT_EQ(bar.safeAction->title, "Safely eject 345-BACKUP");
    EXPECT_EQ(bar.safeAction->accessibilityHint,
              "Opens a review before Tovo asks eligible apps to quit.");
    EXPECT_EQ(ActionBarPresentation::safeTovoButtonTitle(std::nullopt), "Safely eject disk");
    EXPECT_EQ(ActionBarPresentation::checkAgainAccessibilityLabel(std::nullopt),
              "Check the disk again");
}

} // namespace
} // namespace tovo
