#include "PresentationTestValues.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Tovo/Support/StopConfirmationPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::makeProcess;
using testing::stopPlan;

TEST(StopConfirmation, ConfirmableWhenThePlanHasAMethod) {
    const auto process = makeProcess(9, "com.apple.Virtualization.VirtualMachine");
    const auto sheet = StopConfirmationPresentation::content(
        ProcessPresentation(), process,
        stopPlan(9, StopMethod::terminateProcess, std::string("It may lose state.")));
    EXPECT_TRUE(sheet.canConfirm);
    EXPECT_EQ(sheet.title, "Stop \u201CVirtual Machine\u201D?");
    EXPECT_EQ(sheet.planMessage, "Tovo will stop it.");
    EXPECT_EQ(sheet.warning, "It may lose state.");
    EXPECT_EQ(sheet.warningSymbol, "exclamationmark.triangle.fill");
    EXPECT_EQ(sheet.confirmAccessibilityHint,
              "Sends one stop request to Virtual Machine, then rechecks the disk.");
    EXPECT_EQ(sheet.explanation,
              "Tovo sends one request and waits. If the process ignores it, the disk stays "
              "mounted and Tovo shows what is still open. Tovo never forces a kill.");
    EXPECT_EQ(sheet.lastResortNote, "Last resort. Safely Tovo does not close this one on its own.");
    EXPECT_EQ(sheet.cancelTitle, "Cancel");
    EXPECT_FALSE(sheet.unavailableTitle);
}

struct NothingCase {
    std::string label;
    std::optional<ProcessStopPlan> plan;
    friend void PrintTo(const NothingCase& c, std::ostream* os) { *os << c.label; }
};

class NothingToConfirmTest : public ::testing::TestWithParam<NothingCase> {};

TEST_P(NothingToConfirmTest, OnlyExplainsAndCloses) {
    const auto sheet = StopConfirmationPresentation::content(ProcessPresentation(), makeProcess(9),
                                                             GetParam().plan);
    EXPECT_FALSE(StopConfirmationPresentation::hasSomethingToConfirm(GetParam().plan));
    EXPECT_FALSE(sheet.canConfirm);
    EXPECT_EQ(sheet.unavailableTitle, "Tovo cannot stop this process.");
    EXPECT_EQ(sheet.unavailableSymbol, "xmark.octagon.fill");
    EXPECT_FALSE(sheet.cancelTitle);
    EXPECT_FALSE(sheet.confirmAccessibilityHint);
    EXPECT_FALSE(sheet.explanation);
    EXPECT_EQ(sheet.confirmTitle, "Close");
}

INSTANTIATE_TEST_SUITE_P(Plans, NothingToConfirmTest,
                         ::testing::Values(NothingCase{"MissingPlan", std::nullopt},
                                           NothingCase{"Unavailable",
                                                       stopPlan(9, StopMethod::unavailable)}),
                         [](const auto& info) { return info.param.label; });

TEST(StopConfirmation, NamesTheOwningApplicationWhenOneCanBeShown) {
    testing::FakeApplicationRegistry registry;
    auto process = makeProcess(9, "helper");
    process.parentApplication = ParentApplication{90, "Editor", std::nullopt};
    const ProcessPresentation presentation(&registry);
    const auto plan = stopPlan(9, StopMethod::terminateProcess);
    EXPECT_FALSE(StopConfirmationPresentation::content(presentation, process, plan).ownerNote);
    registry.add(RunningApplication{90, "Text Editor", std::nullopt, ActivationPolicy::regular});
    EXPECT_EQ(StopConfirmationPresentation::content(presentation, process, plan).ownerNote,
              "It belongs to Text Editor. You can also close it there yourself.");
}

} // namespace
} // namespace tovo
