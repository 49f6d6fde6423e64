#include "Support/ModelBuilders.hpp"
#include "Support/TaskRunning.hpp"
#include "Tovo/Support/DemoWorkflowFactory.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

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

// The flows show the other plans; with automatic quits off an ordinary app's is manual too.
TEST(DemoProcessReleaser, PlansOnlyManualStepsWhenAutomaticQuitIsOff) {
    ManualExecutor main;
    const DemoProcessReleaser manual(
        std::make_shared<DemoScenario>(std::vector<BlockingProcess>{}, main), false);
    EXPECT_EQ(testing::runToEnd(main, manual.planRelease({preview})).at(0).strategy,
              ReleaseStrategy::manualAction);
}

} // namespace
} // namespace tovo
