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
using ::testing::Not;

class TerminalCauseTest : public ::testing::Test {
protected:
    struct Result {
        ExitCode exit;
        std::string output;
    };

    Result run(std::vector<std::string> arguments, std::vector<BusyCause> causes) {
        const auto parsed = parseTerminalArguments(arguments);
        const auto& options = std::get<TerminalOptions>(parsed);
        std::istringstream input;
        std::ostringstream output;
        std::ostringstream errors;
        TerminalEnvironment environment{[scenario = *options.demoScenario](Executor& executor) {
                                            return makeDemoServiceGraph(scenario, executor);
                                        },
                                        wholeDiskDeviceName,
                                        logger_,
                                        input,
                                        output,
                                        errors,
                                        false,
                                        false,
                                        false,
                                        0,
                                        [&](Executor& executor) {
                                            finder_ =
                                                std::make_shared<ScriptedBusyCauseFinder>(executor);
                                            finder_->searches.setValue(causes);
                                            return finder_;
                                        }};
        TerminalProgram program(options, environment);
        const auto exit = program.run();
        EXPECT_EQ(errors.str(), "");
        return Result{exit, output.str()};
    }

    RecordingLogger logger_;
    std::shared_ptr<ScriptedBusyCauseFinder> finder_;
};

TEST_F(TerminalCauseTest, WhyShowsCausesBesideProcessesAndCountsThemAsBusy) {
    const std::vector causes{makeCause(BusyCauseKind::swap, "/dev/sdb2"),
                             makeCause(BusyCauseKind::nestedMount, "/media/user/DISK/inner",
                                       BusyCauseAction::unmountNested)};
    const auto text = run({"why", "345-BACKUP", "--demo-ready"}, causes);
    EXPECT_EQ(text.exit, ExitCode::stillBusy);
    EXPECT_THAT(text.output, HasSubstr("2 things keep this disk busy"));
    EXPECT_THAT(text.output, HasSubstr("Swap\n    Part of this disk is used as swap."));
    EXPECT_THAT(text.output, HasSubstr("File system inside this disk\n    Another file system is "
                                       "mounted inside this disk at \u201C/media/user/DISK/inner"
                                       "\u201D."));
    ASSERT_EQ(finder_->searches.callCount(), 1u);
    EXPECT_FALSE(finder_->searches.calls()[0].processesFound);

    const auto json = run({"why", "345-BACKUP", "--demo-ready", "--json"}, causes);
    EXPECT_THAT(json.output, HasSubstr("\"otherCauses\": [\n    {\n      \"title\": \"Swap\""));
    EXPECT_THAT(json.output, HasSubstr("\"action\": \"unmountNested\""));
    EXPECT_EQ(finder_->resolutions.callCount(), 0u);
}

TEST_F(TerminalCauseTest, YesLeavesStepsBeyondAPoliteQuitToAPerson) {
    const auto result =
        run({"eject", "345-BACKUP", "--demo-tovoable", "--yes"},
            {makeCause(BusyCauseKind::loopDevice, "/dev/loop7", BusyCauseAction::detachLoop)});
    EXPECT_EQ(result.exit, ExitCode::stillBusy);
    EXPECT_THAT(result.output, HasSubstr("Disk image: Tovo will act."));
    EXPECT_THAT(result.output, HasSubstr("--yes approves only polite quits"));
    EXPECT_THAT(result.output, Not(HasSubstr("Releasing")));
    EXPECT_EQ(finder_->resolutions.callCount(), 0u);
}

} // namespace
} // namespace tovo
