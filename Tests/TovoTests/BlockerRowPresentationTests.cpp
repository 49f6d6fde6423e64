#include "PresentationTestValues.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::attempt;
using testing::makeProcess;
using testing::quitPlan;
using testing::stopPlan;

TEST(BlockerRows, MatchEachBlockerWithItsPlansAndLatestAttempt) {
    const std::vector blockers{makeProcess(1, "one"), makeProcess(2, "two")};
    const std::vector plans{testing::manualPlan(2, "second"), quitPlan(1, "first"),
                            quitPlan(2, "duplicate")};
    const std::vector attempts{attempt(1, ReleaseDisposition::requested, "older"),
                               attempt(1, ReleaseDisposition::failed, "newer")};
    const auto rows = blockerRows(ProcessPresentation(), blockers, plans,
                                  {stopPlan(2, StopMethod::terminateProcess)}, attempts);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].message, "newer");
    EXPECT_EQ(rows[0].statusSymbol, "xmark.circle.fill");
    EXPECT_FALSE(rows[0].stopAction);
    EXPECT_EQ(rows[1].message, "second");
    EXPECT_EQ(rows[1].statusSymbolColor, SymbolColor::orange);
    EXPECT_TRUE(rows[1].stopAction);
}

TEST(BlockerRows, DetailsListLabelledFilesOrSayNoneWereReported) {
    auto process = makeProcess(7, "bash");
    process.openFiles = {testing::openFile("/m", "cwd", OpenAccess::unknown),
                         testing::openFile("/m/a", "3r", OpenAccess::read)};
    auto row =
        blockerRowContent(ProcessPresentation(), process, std::nullopt, std::nullopt, std::nullopt);
    EXPECT_EQ(row.detailLines, (std::vector<std::string>{"Current folder: /m", "/m/a"}));
    EXPECT_EQ(row.showDetailsLabel, "Show details for bash");
    EXPECT_EQ(row.hideDetailsLabel, "Hide details for bash");
    EXPECT_FALSE(row.message);

    process.openFiles.clear();
    row =
        blockerRowContent(ProcessPresentation(), process, std::nullopt, std::nullopt, std::nullopt);
    EXPECT_EQ(row.detailLines, (std::vector<std::string>{"No open paths were reported."}));
}

TEST(BlockerRows, StopIsOfferedOnlyWithAPlanThatCanBeConfirmed) {
    const auto process = makeProcess(7);
    const auto row = [&](std::optional<ProcessStopPlan> plan) {
        return blockerRowContent(ProcessPresentation(), process, std::nullopt, plan, std::nullopt);
    };
    EXPECT_FALSE(row(std::nullopt).stopAction);
    EXPECT_FALSE(row(stopPlan(7, StopMethod::unavailable)).stopAction);
    const auto offered = row(stopPlan(7, StopMethod::quitApplication)).stopAction;
    ASSERT_TRUE(offered);
    EXPECT_EQ(offered->help, "Last resort: Tovo asks for a review, then sends one stop request. "
                             "It never forces a kill.");
    EXPECT_EQ(offered->accessibilityHint,
              "Opens a review before Tovo sends one stop request to this process.");
}

TEST(BlockerRows, ShowActionNamesTheOwningApplication) {
    testing::FakeApplicationRegistry registry;
    auto process = makeProcess(7, "editor-helper");
    process.parentApplication = ParentApplication{70, "Editor", std::nullopt};
    const ProcessPresentation presentation(&registry);

    EXPECT_FALSE(blockerRowContent(presentation, process, std::nullopt, std::nullopt, std::nullopt)
                     .showAction);

    registry.add(
        RunningApplication{70, "Text Editor", "org.example.Editor", ActivationPolicy::regular});
    const auto show =
        blockerRowContent(presentation, process, std::nullopt, std::nullopt, std::nullopt)
            .showAction;
    ASSERT_TRUE(show);
    EXPECT_EQ(show->applicationPID, 70);
    EXPECT_EQ(show->title, "Show Text Editor");
    EXPECT_EQ(show->help, "Brings the app to the front. Tovo does not close it.");
    EXPECT_EQ(show->accessibilityLabel,
              "Brings Text Editor to the front so you can close the window or change its folder");
}

} // namespace
} // namespace tovo
