#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <dirent.h>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using testing::StartedTask;
using testing::TemporaryFolder;

std::size_t openDescriptorCount() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

// Children of this process that have ended but were never reaped.
std::vector<pid_t> zombieChildren() {
    std::vector<pid_t> zombies;
    const auto self = ::getpid();
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const auto name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        const auto stat = testing::readText(entry.path() / "stat");
        if (!stat) {
            continue;
        }
        const auto close = stat->rfind(')');
        if (close == std::string::npos || close + 4 >= stat->size()) {
            continue;
        }
        const char state = (*stat)[close + 2];
        const auto parent = std::stol(stat->substr(close + 4));
        if (state == 'Z' && parent == self) {
            zombies.push_back(static_cast<pid_t>(std::stol(name)));
        }
    }
    return zombies;
}

// Many runs with every kind of ending must leave nothing behind: no zombie, no
// scratch folder, no descriptor.
TEST(CommandRunnerStressTest, ThreeHundredMixedRunsLeaveNothingBehind) {
    ManualExecutor executor;
    TemporaryFolder scratch;
    SystemCommandRunner patient(executor, 5.0, scratch.path());
    SystemCommandRunner hasty(executor, 0.05, scratch.path());
    const auto descriptorsBefore = openDescriptorCount();

    int succeeded = 0;
    int failed = 0;
    int timedOut = 0;
    int cancelled = 0;
    for (int run = 0; run < 300; ++run) {
        switch (run % 4) {
        case 0: {
            StartedTask<CommandResult> task(executor, patient.run("/bin/echo", {"p1"}));
            ASSERT_TRUE(task.finish(executor));
            ASSERT_FALSE(task.error());
            succeeded += task.value()->status == 0 ? 1 : 0;
            break;
        }
        case 1: {
            StartedTask<CommandResult> task(executor, patient.run("/bin/false", {}));
            ASSERT_TRUE(task.finish(executor));
            ASSERT_FALSE(task.error());
            failed += task.value()->status == 1 ? 1 : 0;
            break;
        }
        case 2: {
            StartedTask<CommandResult> task(executor, hasty.run("/bin/sleep", {"10"}));
            ASSERT_TRUE(task.finish(executor));
            try {
                std::rethrow_exception(task.error());
            } catch (const CommandRunnerError& error) {
                timedOut += error.kind == CommandRunnerError::Kind::timedOut ? 1 : 0;
            } catch (...) {
            }
            break;
        }
        default: {
            StartedTask<CommandResult> task(executor, patient.run("/bin/sleep", {"10"}));
            executor.runAll();
            if (run % 8 == 7) {
                // Let the child start, so the stop reaches a running process.
                std::this_thread::sleep_for(10ms);
            }
            task.cancel();
            ASSERT_TRUE(task.finish(executor));
            cancelled += isCancellation(task.error()) ? 1 : 0;
            break;
        }
        }
    }

    EXPECT_EQ(succeeded, 75);
    EXPECT_EQ(failed, 75);
    EXPECT_EQ(timedOut, 75);
    EXPECT_EQ(cancelled, 75);
    EXPECT_TRUE(testing::eventually([] { return zombieChildren().empty(); }, 2000ms))
        << zombieChildren().size() << " zombie children";
    EXPECT_TRUE(scratch.isEmpty()) << "a scratch folder was left behind";
    EXPECT_TRUE(
        testing::eventually([&] { return openDescriptorCount() == descriptorsBefore; }, 2000ms))
        << openDescriptorCount() << " descriptors open, " << descriptorsBefore << " before";
}

} // namespace
} // namespace tovo
