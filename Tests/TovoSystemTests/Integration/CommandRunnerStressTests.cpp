#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <array>

namespace tovo {
namespace {

using namespace std::chrono_literals;

std::size_t openDescriptorCount() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// Children of this process that have ended but were never reaped.
std::size_t zombieChildren() {
    std::size_t zombies = 0;
    const auto parentField = " " + std::to_string(::getpid()) + " ";
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        if (entry.path().filename().string().find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        const auto stat = testing::readText(entry.path() / "stat").value_or("");
        const auto close = stat.rfind(')');
        zombies += close != std::string::npos && stat.compare(close + 1, 3, " Z ") == 0 &&
                   stat.compare(close + 4, parentField.size(), parentField) == 0;
    }
    return zombies;
}

bool isTimeOut(const std::exception_ptr& error) {
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const CommandRunnerError& failure) {
        return failure.kind == CommandRunnerError::Kind::timedOut;
    } catch (...) {
    }
    return false;
}

// Many runs with every kind of ending must leave nothing behind: no zombie, no
// scratch folder, no descriptor.
TEST(CommandRunnerStressTest, ThreeHundredMixedRunsLeaveNothingBehind) {
    ManualExecutor executor;
    testing::TemporaryFolder scratch;
    SystemCommandRunner patient(executor, 5.0, scratch.path());
    SystemCommandRunner hasty(executor, 0.05, scratch.path());
    const auto descriptorsBefore = openDescriptorCount();

    std::array<int, 4> endings{}; // succeeded, failed, timed out, cancelled
    for (int run = 0; run < 300; ++run) {
        const int kind = run % 4;
        testing::StartedTask<CommandResult> task(executor,
                                                 kind == 0   ? patient.run("/bin/echo", {"p1"})
                                                 : kind == 1 ? patient.run("/bin/false", {})
                                                 : kind == 2 ? hasty.run("/bin/sleep", {"10"})
                                                             : patient.run("/bin/sleep", {"10"}));
        if (kind == 3) {
            executor.runAll();
            if (run % 8 == 7) {
                // Let the child start, so the stop reaches a running process.
                std::this_thread::sleep_for(10ms);
            }
            task.cancel();
        }
        ASSERT_TRUE(task.finish(executor));
        const bool asExpected = kind == 0   ? task.value() && task.value()->status == 0
                                : kind == 1 ? task.value() && task.value()->status == 1
                                : kind == 2 ? isTimeOut(task.error())
                                            : isCancellation(task.error());
        endings[kind] += asExpected ? 1 : 0;
    }

    EXPECT_EQ(endings, (std::array<int, 4>{75, 75, 75, 75}));
    EXPECT_TRUE(testing::eventually([] { return zombieChildren() == 0; }, 2000ms))
        << zombieChildren() << " zombie children";
    EXPECT_TRUE(scratch.isEmpty()) << "a scratch folder was left behind";
    EXPECT_TRUE(
        testing::eventually([&] { return openDescriptorCount() == descriptorsBefore; }, 2000ms))
        << openDescriptorCount() << " descriptors open, " << descriptorsBefore << " before";
}

} // namespace
} // namespace tovo
