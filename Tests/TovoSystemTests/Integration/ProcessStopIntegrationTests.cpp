#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace tovo {
namespace {

using namespace std::chrono_literals;

template<class T>
T await(Task<T> task) {
    ManualExecutor executor;
    std::optional<T> result;
    spawn(executor, [](Task<T> body, std::optional<T>& out) -> Task<void> {
        out = co_await std::move(body);
    }(std::move(task), result));
    executor.runAll();
    return std::move(*result);
}

struct Signal {
    std::int32_t pid;
    std::int32_t number;
    bool operator==(const Signal&) const = default;
};

// A real child of this test, stopped by the real stopper with real kill(2) after
// a real identity check against /proc. No application registry entry matches it.
class ProcessStopIntegration : public ::testing::Test {
protected:
    void SetUp() override {
        const char* helpers = std::getenv("TOVO_TEST_HELPERS");
        ASSERT_NE(helpers, nullptr);
        helper = std::string(helpers) + "/stop_child";

        DesktopApplicationRegistry::Options options;
        options.procRoot = "/proc";
        registry = std::make_shared<DesktopApplicationRegistry>(options);
        metadata = std::make_shared<SystemProcessMetadataProvider>(registry);
    }
    void TearDown() override {
        if (child > 0) {
            kill(child, SIGINT);
            waitpid(child, nullptr, 0);
        }
    }

    // Starts the helper and waits until it has set its signal dispositions.
    void startChild(const std::vector<std::string>& arguments = {}) {
        int output[2];
        ASSERT_EQ(pipe(output), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, output[0]);
        std::vector<char*> argv{helper.data()};
        for (const auto& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        char* envp[] = {nullptr};
        ASSERT_EQ(posix_spawn(&child, helper.c_str(), &actions, nullptr, argv.data(), envp), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(output[1]);
        pollfd ready{output[0], POLLIN, 0};
        char line[8] = {};
        ASSERT_EQ(poll(&ready, 1, 10'000), 1) << "the child did not start";
        ASSERT_GT(read(output[0], line, sizeof line - 1), 0);
        close(output[0]);
        ASSERT_STREQ(line, "ready\n");
    }
    // The blocker as the diagnoser would have recorded it: live facts from /proc.
    BlockingProcess reviewed() const {
        const auto live = metadata->metadata(child);
        if (!live) {
            ADD_FAILURE() << "no metadata for the child";
            return {};
        }
        return BlockingProcess{child,
                               live->parentPID,
                               live->command,
                               live->userID,
                               std::nullopt,
                               {{"/media/DISK", "cwd", "DIR", OpenAccess::unknown}},
                               live->executablePath,
                               live->startTime,
                               false,
                               std::nullopt};
    }
    ExplicitProcessStopper stopper() {
        return ExplicitProcessStopper(
            getuid(), getpid(), metadata, registry, [this](std::int32_t pid, std::int32_t number) {
                signals.push_back({pid, number});
                return ExplicitProcessStopper::systemSignaler()(pid, number);
            });
    }
    bool childIsAlive() const {
        return waitpid(child, nullptr, WNOHANG) == 0 && kill(child, 0) == 0;
    }

    std::string helper;
    pid_t child = -1;
    std::shared_ptr<DesktopApplicationRegistry> registry;
    std::shared_ptr<SystemProcessMetadataProvider> metadata;
    std::vector<Signal> signals;
};

TEST_F(ProcessStopIntegration, StopsARealChildWithOneSigterm) {
    startChild();
    const auto process = reviewed();
    EXPECT_EQ(process.command, "stop_child");
    EXPECT_EQ(process.parentPID, getpid());
    EXPECT_EQ(stopper().planStop(process),
              (ProcessStopPlan{child, "stop_child", StopMethod::terminateProcess,
                               "Tovo will send one stop request (SIGTERM) to stop_child. Most "
                               "tools stop cleanly. Tovo never forces a kill.",
                               std::nullopt}));

    const auto attempt = await(stopper().requestStop(process));

    EXPECT_EQ(attempt.disposition, ReleaseDisposition::requested);
    EXPECT_EQ(attempt.message, "Tovo sent a stop request to stop_child.");
    EXPECT_EQ(signals, (std::vector<Signal>{{child, SIGTERM}}));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    child = -1;
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST_F(ProcessStopIntegration, ChangedStartTimeIsRefusedAndNothingIsSent) {
    startChild();
    auto process = reviewed();
    process.startTime->microseconds = (process.startTime->microseconds + 10'000) % 1'000'000;

    const auto attempt = await(stopper().requestStop(process));

    EXPECT_EQ(attempt.disposition, ReleaseDisposition::failed);
    EXPECT_EQ(attempt.message,
              "Tovo could not verify that this is the same process. Nothing was sent.");
    EXPECT_TRUE(signals.empty());
    EXPECT_TRUE(childIsAlive());
}

TEST_F(ProcessStopIntegration, ExitedChildIsAlreadyClosedWithoutASignal) {
    startChild();
    const auto process = reviewed();
    kill(child, SIGINT);
    waitpid(child, nullptr, 0);
    child = -1;

    const auto attempt = await(stopper().requestStop(process));

    EXPECT_EQ(attempt.disposition, ReleaseDisposition::alreadyClosed);
    EXPECT_EQ(attempt.message, "The process already exited.");
    EXPECT_TRUE(signals.empty());
}

TEST_F(ProcessStopIntegration, ChildThatIgnoresTheRequestGetsExactlyOne) {
    startChild({"ignore-term"});
    const auto process = reviewed();

    const auto attempt = await(stopper().requestStop(process));

    EXPECT_EQ(attempt.disposition, ReleaseDisposition::requested);
    std::this_thread::sleep_for(200ms);
    EXPECT_TRUE(childIsAlive());
    EXPECT_EQ(signals, (std::vector<Signal>{{child, SIGTERM}}));
}

} // namespace
} // namespace tovo
