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

// The finder reports unseen processes only where lsof found none, so it must be told.
TEST(TerminalWhy, CountsCausesWithTheProcessesAndTellsTheFinderWhatLsofFound) {
    for (const bool held : {false, true}) {
        std::shared_ptr<ScriptedBusyCauseFinder> finder;
        const auto scenario = held ? DemoScenarioKind::tovoable : DemoScenarioKind::ready;
        const auto why = runTerminal(
            {"why", "345-BACKUP"}, "",
            [&](Executor& executor) { return makeDemoServiceGraph(scenario, executor); },
            wholeDiskDeviceName,
            [&](Executor& executor) {
                finder = std::make_shared<ScriptedBusyCauseFinder>(executor);
                finder->searches.setValue({makeCause(BusyCauseKind::swap, "/dev/sdb2")});
                return finder;
            });
        EXPECT_EQ(why.exit, ExitCode::stillBusy) << why.errors;
        EXPECT_THAT(why.output, HasSubstr(held ? "2 things keep" : "One thing keeps"));
        EXPECT_THAT(why.output, HasSubstr("Swap\n    Part of this disk is used as swap."));
        ASSERT_EQ(finder->searches.callCount(), 1u);
        EXPECT_EQ(finder->searches.calls()[0].processesFound, held);
        EXPECT_EQ(finder->resolutions.callCount(), 0u) << "why changes nothing";
    }
}

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
        graph.settleDelayNanoseconds = graph.releaseTimeoutNanoseconds = 0;
        return graph;
    });
    EXPECT_EQ(eject.exit, ExitCode::stillBusy) << eject.output << eject.errors;
    EXPECT_EQ(releaser->requests.callCount(), 1u);
    EXPECT_EQ(eject.output.find("Ask Apps to Quit?"), eject.output.rfind("Ask Apps to Quit?"));
    EXPECT_THAT(eject.output, HasSubstr("--stop 63120"));
}

} // namespace
} // namespace tovo
