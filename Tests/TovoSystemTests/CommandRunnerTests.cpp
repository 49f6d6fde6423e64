#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

TEST(CommandRunner, TimeoutNeverFallsBelowFiftyMilliseconds) {
    ManualExecutor executor;
    EXPECT_DOUBLE_EQ(SystemCommandRunner(executor, -3).timeout(), 0.05);
    EXPECT_DOUBLE_EQ(SystemCommandRunner(executor, 0.051).timeout(), 0.051);
}

// Real runs, their scratch files and a missing program are the integration suite's.
TEST(CommandRunner, ARunCancelledBeforeItsChildStartsLeavesNothingBehind) {
    testing::TemporaryFolder folder;
    ManualExecutor executor;
    SystemCommandRunner runner(executor, 1, folder.path());
    testing::StartedTask<CommandResult> cancelled(executor, runner.run("/bin/true", {}));
    cancelled.cancel();
    ASSERT_TRUE(cancelled.finish(executor));
    EXPECT_TRUE(isCancellation(cancelled.error()));
    EXPECT_TRUE(folder.isEmpty());
}

} // namespace
} // namespace tovo
