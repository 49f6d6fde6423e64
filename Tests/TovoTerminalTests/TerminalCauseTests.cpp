// Holders that are not processes, found by a cause finder beside the demo services.
#include "Support/RecordingLogger.hpp"
#include "Support/ScriptedBusyCauseFinder.hpp"
#include "TovoTerminal/TerminalProgram.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace tovo {
namespace {

using namespace tovo::testing;
using ::testing::HasSubstr;

class TerminalCauseTest : public ::testing::TestWithParam<std::pair<const char*, bool>> {};

// The finder reports unseen processes only where lsof found none, so it must be told.
TEST_P(TerminalCauseTest, WhyCountsCausesWithTheProcessesAndTellsTheFinderWhatLsofFound) {
    const auto& [scenario, processesFound] = GetParam();
    const auto options = std::get<TerminalOptions>(
        parseTerminalArguments(std::vector<std::string>{"why", "345-BACKUP", scenario}));
    RecordingLogger logger;
    std::istringstream input;
    std::ostringstream output;
    std::ostringstream errors;
    std::shared_ptr<ScriptedBusyCauseFinder> finder;
    TerminalEnvironment environment{
        [&](Executor& executor) { return makeDemoServiceGraph(*options.demoScenario, executor); },
        wholeDiskDeviceName,
        logger,
        input,
        output,
        errors,
        false,
        false,
        false,
        0,
        [&](Executor& executor) {
            finder = std::make_shared<ScriptedBusyCauseFinder>(executor);
            finder->searches.setValue({makeCause(BusyCauseKind::swap, "/dev/sdb2")});
            return finder;
        }};
    EXPECT_EQ(TerminalProgram(options, environment).run(), ExitCode::stillBusy);
    EXPECT_EQ(errors.str(), "");
    EXPECT_THAT(output.str(), HasSubstr(processesFound ? "2 things keep this disk busy"
                                                       : "One thing keeps this disk busy"));
    EXPECT_THAT(output.str(), HasSubstr("Swap\n    Part of this disk is used as swap."));
    ASSERT_EQ(finder->searches.callCount(), 1u);
    EXPECT_EQ(finder->searches.calls()[0].processesFound, processesFound);
    EXPECT_EQ(finder->resolutions.callCount(), 0u) << "why changes nothing";
}

INSTANTIATE_TEST_SUITE_P(Scenarios, TerminalCauseTest,
                         ::testing::Values(std::pair{"--demo-ready", false},
                                           std::pair{"--demo-tovoable", true}),
                         [](const auto& info) {
                             return std::string(info.param.second ? "Held" : "Idle");
                         });

} // namespace
} // namespace tovo
