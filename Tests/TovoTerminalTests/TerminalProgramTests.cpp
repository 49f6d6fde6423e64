// The terminal program in this process, over the demo services with one part replaced.
#include "Support/ScriptedBusyCauseFinder.hpp"
#include "Support/ScriptedServices.hpp"
#include "TovoTerminalTests/TerminalRunning.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;
using ::testing::HasSubstr;

std::function<ServiceGraph(Executor&)> demo(DemoScenarioKind scenario) {
    return [scenario](Executor& executor) { return makeDemoServiceGraph(scenario, executor); };
}

class TerminalCauseTest : public ::testing::TestWithParam<std::pair<DemoScenarioKind, bool>> {};

// The finder reports unseen processes only where lsof found none, so it must be told.
TEST_P(TerminalCauseTest, WhyCountsCausesWithTheProcessesAndTellsTheFinderWhatLsofFound) {
    const auto& [scenario, processesFound] = GetParam();
    std::shared_ptr<ScriptedBusyCauseFinder> finder;
    const auto why = runTerminal(
        {"why", "345-BACKUP"}, "", demo(scenario), wholeDiskDeviceName, [&](Executor& executor) {
            finder = std::make_shared<ScriptedBusyCauseFinder>(executor);
            finder->searches.setValue({makeCause(BusyCauseKind::swap, "/dev/sdb2")});
            return finder;
        });
    EXPECT_EQ(why.exit, ExitCode::stillBusy) << why.errors;
    EXPECT_THAT(why.output, HasSubstr(processesFound ? "2 things keep this disk busy"
                                                     : "One thing keeps this disk busy"));
    EXPECT_THAT(why.output, HasSubstr("Swap\n    Part of this disk is used as swap."));
    ASSERT_EQ(finder->searches.callCount(), 1u);
    EXPECT_EQ(finder->searches.calls()[0].processesFound, processesFound);
    EXPECT_EQ(finder->resolutions.callCount(), 0u) << "why changes nothing";
}

INSTANTIATE_TEST_SUITE_P(Scenarios, TerminalCauseTest,
                         ::testing::Values(std::pair{DemoScenarioKind::ready, false},
                                           std::pair{DemoScenarioKind::tovoable, true}),
                         [](const auto& info) {
                             return std::string(info.param.second ? "Held" : "Idle");
                         });

// An app that stays after it was asked to quit is not asked again in the same run:
// the person gets the stop hint instead.
TEST(TerminalEject, AsksForTheReviewOnceEvenWhenTheDiskStaysBusy) {
    std::shared_ptr<ScriptedProcessReleaser> releaser;
    const auto eject = runTerminal({"eject", "345-BACKUP"}, "y\ny\n", [&](Executor& executor) {
        auto graph = makeDemoServiceGraph(DemoScenarioKind::tovoable, executor);
        releaser = std::make_shared<ScriptedProcessReleaser>(executor);
        releaser->planEach([](const BlockingProcess& process) {
            return ProcessReleasePlan{process.pid, process.command,
                                      ReleaseStrategy::quitApplication, "Tovo will ask."};
        });
        releaser->answerRequestsWith(ReleaseDisposition::requested);
        graph.releaser = releaser;
        graph.settleDelayNanoseconds = 0;
        graph.releaseTimeoutNanoseconds = 0;
        return graph;
    });
    EXPECT_EQ(eject.exit, ExitCode::stillBusy) << eject.output << eject.errors;
    EXPECT_EQ(releaser->requests.callCount(), 1u);
    EXPECT_EQ(eject.output.find("Ask Apps to Quit?"), eject.output.rfind("Ask Apps to Quit?"));
    EXPECT_THAT(eject.output, HasSubstr("--stop 63120"));
}

} // namespace
} // namespace tovo
