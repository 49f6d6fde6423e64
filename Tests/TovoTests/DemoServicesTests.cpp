#include "Support/ModelBuilders.hpp"
#include "Support/TaskRunning.hpp"
#include "Tovo/Support/DemoWorkflowFactory.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

const auto virtualMachine = DemoData::protectedBlockers().front();
const auto preview = DemoData::tovoableBlockers().front();

TEST(DemoScenario, ReadsOnItsOwnExecutorAndResumesOnTheMainOne) {
    ManualExecutor main;
    const auto isolation = std::make_shared<ManualExecutor>();
    DemoScenario scenario(DemoData::tovoableBlockers(), main, isolation);
    std::optional<std::vector<BlockingProcess>> read;
    auto body = [](DemoScenario& source, auto& out) -> Task<void> {
        out = co_await source.activeBlockers();
    };
    spawn(main, body(scenario, read));
    main.runAll();
    EXPECT_EQ(isolation->runAll(), 1u);
    EXPECT_FALSE(read) << "the result is delivered on the main executor";
    EXPECT_EQ(main.runAll(), 1u);
    EXPECT_EQ(read, DemoData::tovoableBlockers());
}

TEST(DemoProcessReleaser, AsksOnlyOrdinaryAppsWhenAllowedAndAlwaysOffersAStop) {
    ManualExecutor main;
    const auto scenario = std::make_shared<DemoScenario>(std::vector<BlockingProcess>{}, main);
    DemoProcessReleaser automatic(scenario, true);
    DemoProcessReleaser manual(scenario, false);
    const auto release = [&](const DemoProcessReleaser& releaser, BlockingProcess process) {
        return testing::runToEnd(main, releaser.planRelease({std::move(process)})).at(0);
    };
    const auto stop = [&](BlockingProcess process) {
        return testing::runToEnd(main, manual.planStop(std::move(process)));
    };
    // The plans' own texts are read in the terminal's demo transcript.
    EXPECT_EQ(release(automatic, preview).strategy, ReleaseStrategy::quitApplication);
    EXPECT_EQ(release(manual, preview).strategy, ReleaseStrategy::manualAction);
    EXPECT_EQ(release(automatic, virtualMachine).strategy, ReleaseStrategy::manualAction);
    EXPECT_EQ(stop(virtualMachine).method, StopMethod::terminateProcess);
    EXPECT_EQ(stop(preview).method, StopMethod::quitApplication);
}

} // namespace
} // namespace tovo
