#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace tovo {
namespace {

using testing::runToEnd;
using testing::TemporaryFolder;

TEST(CommandRunner, TimeoutNeverFallsBelowFiftyMilliseconds) {
    ManualExecutor executor;
    EXPECT_DOUBLE_EQ(SystemCommandRunner(executor, -3).timeout(), 0.05);
    EXPECT_DOUBLE_EQ(SystemCommandRunner(executor, 0.051).timeout(), 0.051);
}

TEST(CommandRunner, ErrorTextIsTrimmedDecodedStandardError) {
    EXPECT_EQ((CommandResult{1, "", "\n  bad \xff bytes\n\n"}.errorText()),
              "bad \xEF\xBF\xBD bytes");
    EXPECT_EQ((CommandResult{1, "", " \t\r\n"}.errorText()), "");
}

TEST(CommandRunner, FailuresBeforeTheChildRunsLeaveNothingBehind) {
    TemporaryFolder folder;
    ManualExecutor executor;
    SystemCommandRunner runner(executor, 1, folder.path());
    try {
        runToEnd(executor, runner.run(folder.path() / "no-such-tool", {"--version"}));
        ADD_FAILURE() << "a missing executable must not run";
    } catch (const CommandLaunchError& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    }

    testing::StartedTask<CommandResult> cancelled(executor, runner.run("/bin/true", {}));
    cancelled.cancel();
    ASSERT_TRUE(cancelled.finish(executor));
    EXPECT_TRUE(isCancellation(cancelled.error()));
    EXPECT_TRUE(folder.isEmpty());

    std::ofstream(folder.path() / "plain-file") << "x";
    SystemCommandRunner misplaced(executor, 1, folder.path() / "plain-file");
    EXPECT_THROW(runToEnd(executor, misplaced.run("/bin/true", {})),
                 std::filesystem::filesystem_error);
}

} // namespace
} // namespace tovo
