#include "PresentationTestValues.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Tovo/Support/StopConfirmationPresentation.hpp"

namespace tovo {
namespace {

using namespace testing;

TEST(StopConfirmation, ConfirmableWhenThePlanHasAMethodAndNamesTheOwningApplication) {
    FakeApplicationRegistry registry;
    const ProcessPresentation presentation(&registry);
    auto process = makeProcess(9, "com.apple.Virtualization.VirtualMachine");
    process.parentApplication = ParentApplication{90, "Editor", std::nullopt};
    registry.add(RunningApplication{90, "Text Editor", std::nullopt, ActivationPolicy::regular});
    const auto sheet = StopConfirmationPresentation::content(
        presentation, process,
        stopPlan(9, StopMethod::terminateProcess, std::string("It may lose state.")));
    EXPECT_TRUE(sheet.canConfirm);
    EXPECT_EQ(sheet.title, "Stop \u201CVirtual Machine\u201D?");
    EXPECT_EQ(sheet.warning, "It may lose state.");
    EXPECT_EQ(sheet.confirmAccessibilityHint,
              "Sends one stop request to Virtual Machine, then rechecks the disk.");
    EXPECT_EQ(sheet.ownerNote, "It belongs to Text Editor. You can also close it there yourself.");
}

TEST(StopConfirmation, WithoutAMethodOnlyExplainsAndCloses) {
    for (const auto& plan :
         {std::optional<ProcessStopPlan>(), std::optional(stopPlan(9, StopMethod::unavailable))}) {
        const auto sheet =
            StopConfirmationPresentation::content(ProcessPresentation(), makeProcess(9), plan);
        EXPECT_FALSE(StopConfirmationPresentation::hasSomethingToConfirm(plan));
        EXPECT_FALSE(sheet.canConfirm);
        EXPECT_EQ(sheet.unavailableTitle, "Tovo cannot stop this process.");
        EXPECT_FALSE(sheet.cancelTitle);
        EXPECT_EQ(sheet.confirmTitle, "Close");
        EXPECT_EQ(sheet.confirmRole, ButtonRole::plain);
    }
}

// A stop can lose work: Return must not send it, and the button must look it.
TEST(StopConfirmation, CancelIsTheDefaultAndTheStopButtonIsDestructive) {
    const auto sheet = StopConfirmationPresentation::content(
        ProcessPresentation(), makeProcess(9), stopPlan(9, StopMethod::terminateProcess));
    EXPECT_TRUE(sheet.cancelIsDefault);
    EXPECT_EQ(sheet.confirmRole, ButtonRole::destructive);
}

struct LastResortCase {
    const char* label;
    std::optional<ProcessReleasePlan> releasePlan;
    bool applies;
};

class LastResortTest : public ::testing::TestWithParam<LastResortCase> {};

// "Safely Tovo does not close this one on its own" is false for an app the safe
// release asks to quit; it holds when the release leaves the process to the user.
TEST_P(LastResortTest, TheNoteAppearsOnlyWhereTheSafeReleaseLeavesTheProcessAlone) {
    const auto sheet = StopConfirmationPresentation::content(
        ProcessPresentation(), makeProcess(9), stopPlan(9, StopMethod::quitApplication),
        GetParam().releasePlan);
    EXPECT_EQ(sheet.lastResortApplies, GetParam().applies);
}

INSTANTIATE_TEST_SUITE_P(ReleasePlans, LastResortTest,
                         ::testing::Values(LastResortCase{"NoPlan", std::nullopt, true},
                                           LastResortCase{"Manual", manualPlan(9), true},
                                           LastResortCase{"Quit", quitPlan(9), false}),
                         [](const ::testing::TestParamInfo<LastResortCase>& info) {
                             return info.param.label;
                         });

} // namespace
} // namespace tovo
