#include "PresentationTestValues.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"

namespace tovo {
namespace {

using namespace testing;

TEST(BlockerRows, MatchEachBlockerWithItsFirstPlanItsStopPlanAndLatestAttempt) {
    const std::vector plans{manualPlan(2, "second"), quitPlan(1, "first"),
                            quitPlan(2, "duplicate")};
    const std::vector attempts{attempt(1, ReleaseDisposition::requested, "older"),
                               attempt(1, ReleaseDisposition::failed, "newer")};
    const auto rows = blockerRows(ProcessPresentation(), {makeProcess(1), makeProcess(2)}, plans,
                                  {stopPlan(2, StopMethod::terminateProcess)}, attempts);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].message, "newer");
    EXPECT_FALSE(rows[0].stopAction);
    EXPECT_EQ(rows[1].message, "second");
    EXPECT_TRUE(rows[1].stopAction);
}

TEST(BlockerRows, DetailsStopAndShowActions) {
    FakeApplicationRegistry registry;
    const ProcessPresentation presentation(&registry);
    auto process = processWith("bash", {openFile("/m", "cwd", OpenAccess::unknown),
                                        openFile("/m", "rtd", OpenAccess::unknown),
                                        openFile("/m/a", "3r", OpenAccess::read)});
    process.parentApplication = ParentApplication{70, "Editor", std::nullopt};
    registry.add(RunningApplication{70, "Text Editor", std::nullopt, ActivationPolicy::regular});
    const auto row = [&](std::optional<ProcessStopPlan> plan) {
        return blockerRowContent(presentation, process, std::nullopt, plan, std::nullopt);
    };
    EXPECT_EQ(row(std::nullopt).detailLines,
              (std::vector<std::string>{"Current folder: /m", "/m", "/m/a"}));
    EXPECT_EQ(row(std::nullopt).showDetailsLabel, "Show details for bash");
    EXPECT_FALSE(row(std::nullopt).stopAction);
    EXPECT_FALSE(row(stopPlan(7, StopMethod::unavailable)).stopAction);
    EXPECT_TRUE(row(stopPlan(7, StopMethod::quitApplication)).stopAction);
    EXPECT_EQ(row(std::nullopt).showAction->title, "Show Text Editor");
    process.openFiles.clear();
    EXPECT_EQ(row(std::nullopt).detailLines,
              (std::vector<std::string>{"No open paths were reported."}));
}

} // namespace
} // namespace tovo
