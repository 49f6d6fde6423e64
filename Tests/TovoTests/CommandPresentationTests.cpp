// The commands each phase offers: the action bar's primary button and the menu's items.
#include "PresentationTestValues.hpp"
#include "Tovo/Support/ActionBarPresentation.hpp"
#include "Tovo/Support/MenuPresentation.hpp"

namespace tovo {
namespace {

using namespace testing;
using namespace MenuPresentation;
using enum PrimaryActionKind;

struct CommandCase {
    EjectionPhase phase;
    PrimaryActionKind kind;
    std::string title;
    std::string accessibilityLabel;
    bool enabled;
    std::string menuTitle;
    bool menuEjectEnabled;
    bool refreshEnabled;
    bool shown;         ///< false where nothing can be ejected
    bool returnPresses; ///< the default action
};

class CommandTest : public ::testing::TestWithParam<CommandCase> {};

TEST_P(CommandTest, ActionBarAndMenuFollowThePhase) {
    const auto& c = GetParam();
    const auto disk = makeDisk(1, "Photos");
    const auto bar = ActionBarPresentation::content(c.phase, disk, {});
    EXPECT_EQ(bar.primary.kind, c.kind);
    EXPECT_EQ(bar.primary.title, c.title);
    EXPECT_EQ(bar.primary.accessibilityLabel, c.accessibilityLabel);
    EXPECT_EQ(bar.primary.isEnabled, c.enabled);
    EXPECT_EQ(bar.primary.isDefaultAction, c.returnPresses);
    EXPECT_EQ(bar.primary.isShown, c.shown);
    EXPECT_EQ(bar.safeAction.has_value(), c.kind == checkAgain);
    EXPECT_EQ(ejectCommandTitle(c.phase, disk), c.menuTitle);
    EXPECT_EQ(isEjectCommandEnabled(c.phase, disk), c.menuEjectEnabled);
    EXPECT_EQ(isRefreshCommandEnabled(c.phase), c.refreshEnabled);
}

const auto retry = EjectionPhase::failed("T", "M", FailureRecovery::retryEject);
const std::string photos = "Eject Photos";

INSTANTIATE_TEST_SUITE_P(
    Phases, CommandTest,
    ::testing::Values(CommandCase{EjectionPhase::ready(), eject, "Eject", photos, true, photos,
                                  true, true, true, true},
                      CommandCase{EjectionPhase::ejecting(), eject, "Eject", photos, false, photos,
                                  false, false, false, false},
                      CommandCase{EjectionPhase::diagnosing(), eject, "Eject", photos, false,
                                  photos, false, false, false, false},
                      CommandCase{EjectionPhase::releasing(), eject, "Eject", photos, false, photos,
                                  false, false, false, false},
                      CommandCase{EjectionPhase::retrying(), eject, "Eject", photos, false, photos,
                                  false, false, false, false},
                      CommandCase{EjectionPhase::stopping("vim"), eject, "Eject", photos, false,
                                  photos, false, false, false, false},
                      // Two ways on: the user chooses, Return picks neither.
                      CommandCase{EjectionPhase::blocked(), checkAgain, "Check Again",
                                  "Check whether Photos can eject", true, "Check Again", true, true,
                                  true, false},
                      CommandCase{retry, tryAgain, "Try Again", "Try Again", true,
                                  "Try Eject Again", true, true, true, true},
                      CommandCase{EjectionPhase::failed("T", "M", FailureRecovery::refreshDisks),
                                  refresh, "Refresh Disks", "Refresh external disks", true,
                                  "Eject Disk", false, true, true, true},
                      CommandCase{EjectionPhase::ejected("Photos"), done, "Done", "Done", true,
                                  photos, false, false, true, true}));

TEST(Commands, WithoutADiskNothingCanBeEjected) {
    const auto bar = ActionBarPresentation::content(EjectionPhase::ready(), std::nullopt, {});
    EXPECT_FALSE(bar.primary.isEnabled);
    EXPECT_FALSE(bar.primary.isShown);
    EXPECT_FALSE(bar.primary.isDefaultAction);
    EXPECT_EQ(ejectCommandTitle(EjectionPhase::ready(), std::nullopt), "Eject Disk");
    EXPECT_EQ(ejectCommandTitle(retry, std::nullopt), "Try Eject Again");
    for (const auto& phase : {EjectionPhase::ready(), EjectionPhase::blocked(), retry}) {
        EXPECT_FALSE(isEjectCommandEnabled(phase, std::nullopt));
        EXPECT_TRUE(isRefreshCommandEnabled(phase));
    }
}

TEST(ActionBar, BlockedHintFollowsWhetherTovoCanAskAnAppAndTheSafeActionNamesTheDisk) {
    const auto bar = [](std::vector<ProcessReleasePlan> plans) {
        return ActionBarPresentation::content(EjectionPhase::blocked(), makeDisk(1, "345-BACKUP"),
                                              plans);
    };
    EXPECT_EQ(bar({manualPlan(1), quitPlan(2)}).primary.accessibilityHint,
              "Checks whether the listed blockers have released the disk.");
    EXPECT_EQ(bar({manualPlan(1)}).primary.accessibilityHint,
              "Follow the steps above, then check the disk again.");
    EXPECT_EQ(bar({}).safeAction->title, "Safely eject 345-BACKUP");
    EXPECT_EQ(ActionBarPresentation::safeTovoButtonTitle(std::nullopt), "Safely eject disk");
    EXPECT_EQ(ActionBarPresentation::checkAgainAccessibilityLabel(std::nullopt),
              "Check the disk again");
}

// A long name would make the button as wide as the name, pushing the rest of the
// window out of reach: the title is cut, the whole name stays in reach.
TEST(ActionBar, SafeActionElidesALongNameAndKeepsItWholeForTooltipAndScreenReader) {
    const std::string name = "PHOTO_ARCHIVE_2009_2024_FAMILY_TRAVEL_SCANNED_SLIDES_SECOND_COPY_X";
    const auto bar =
        ActionBarPresentation::content(EjectionPhase::blocked(), makeDisk(1, name), {});
    ASSERT_TRUE(bar.safeAction);
    EXPECT_EQ(bar.safeAction->title, "Safely eject PHOTO_ARCHIVE_2009_\u2026");
    EXPECT_EQ(bar.safeAction->accessibilityLabel, "Safely eject " + name);
    EXPECT_EQ(bar.safeAction->help, "Safely eject " + name);

    const auto shortName =
        ActionBarPresentation::content(EjectionPhase::blocked(), makeDisk(1, "345-BACKUP"), {});
    EXPECT_EQ(shortName.safeAction->accessibilityLabel, "Safely eject 345-BACKUP");
    EXPECT_FALSE(shortName.safeAction->help) << "nothing was cut, nothing to add";
}

} // namespace
} // namespace tovo
