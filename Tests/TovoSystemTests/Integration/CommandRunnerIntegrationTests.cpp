#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using testing::awaitPidFile;
using testing::eventually;
using testing::helperProgram;
using testing::isAliveAndNotZombie;
using testing::processState;
using testing::runToEnd;
using testing::StartedTask;
using testing::TemporaryFolder;

using Seconds = std::chrono::duration<double>;

class CommandRunnerWithChildren : public ::testing::Test {
protected:
    void TearDown() override {
        // The runner never kills; a stubborn child it left behind is ours to end.
        for (const auto pid : leftovers_) {
            ::kill(pid, SIGKILL);
            EXPECT_TRUE(eventually([pid] { return !processState(pid); }))
                << "the abandoned child " << pid << " was never reaped";
        }
        EXPECT_TRUE(scratch_.isEmpty()) << "a scratch folder was left behind";
    }

    CommandResult run(std::filesystem::path executable, std::vector<std::string> arguments,
                      double timeout = 5) {
        SystemCommandRunner runner(executor_, timeout, scratch_.path());
        return runToEnd(executor_, runner.run(std::move(executable), std::move(arguments)));
    }

    ManualExecutor executor_;
    TemporaryFolder scratch_;
    TemporaryFolder work_;
    std::vector<pid_t> leftovers_;
};

TEST_F(CommandRunnerWithChildren, ExitOneWithNothingWrittenIsAResultNotAnError) {
    const auto result = run("/bin/false", {});
    EXPECT_EQ(result, (CommandResult{1, "", ""}));
}

TEST_F(CommandRunnerWithChildren, CapturesBothStreamsAndTheStatus) {
    const auto result =
        run("/bin/sh", {"-c", "printf 'p1\\0'; printf '\\n  careful  \\n\\n' >&2; exit 3"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.standardOutput, std::string("p1\0", 3));
    EXPECT_EQ(result.errorText(), "careful");
}

TEST_F(CommandRunnerWithChildren, PassesArgumentsVerbatimWithoutAShell) {
    const auto result = run("/usr/bin/printf", {"%s|", "a b", "$HOME", "*", ""});
    EXPECT_EQ(result.standardOutput, "a b|$HOME|*||");
}

TEST_F(CommandRunnerWithChildren, OutputLargerThanAPipeNeverBlocksTheChild) {
    const auto result = run("/bin/sh", {"-c", "head -c 3000000 /dev/zero"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardOutput.size(), 3'000'000u);
}

TEST_F(CommandRunnerWithChildren, AChildEndedByASignalReportsTheSignalNumber) {
    EXPECT_EQ(run("/bin/sh", {"-c", "kill -TERM $$"}).status, SIGTERM);
}

TEST_F(CommandRunnerWithChildren, ScratchFilesLiveInAFreshUpperCaseUuidFolderOfTmpdir) {
    const char* previous = std::getenv("TMPDIR");
    const std::string saved = previous ? previous : "";
    ::setenv("TMPDIR", scratch_.path().c_str(), 1);
    SystemCommandRunner runner(executor_, 5);
    const auto result =
        runToEnd(executor_, runner.run("/bin/readlink", {"/proc/self/fd/1", "/proc/self/fd/2"}));
    previous ? ::setenv("TMPDIR", saved.c_str(), 1) : ::unsetenv("TMPDIR");

    const std::regex expected(scratch_.path().string() +
                              "/Tovo-([0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-"
                              "[0-9A-F]{12})/stdout\n\\1?.*/stderr\n");
    EXPECT_TRUE(std::regex_match(result.standardOutput, expected)) << result.standardOutput;
}

TEST_F(CommandRunnerWithChildren, AStubbornChildIsAbandonedAfterTheGraceNeverKilled) {
    const auto pidFile = work_.path() / "pid";
    const auto started = std::chrono::steady_clock::now();
    try {
        run(helperProgram("child_ignore_term"), {pidFile.string()}, 0.3);
        FAIL() << "the run must time out";
    } catch (const CommandRunnerError& error) {
        EXPECT_EQ(error.kind, CommandRunnerError::Kind::timedOut);
        EXPECT_EQ(error.description(), "The process check took too long. Try again.");
    }
    const Seconds elapsed = std::chrono::steady_clock::now() - started;
    const auto pid = awaitPidFile(pidFile);
    ASSERT_GT(pid, 0);
    leftovers_.push_back(pid);

    // Deadline 0.3 s, then the 0.4 s grace.
    EXPECT_GE(elapsed.count(), 0.69);
    EXPECT_LT(elapsed.count(), 1.2);
    EXPECT_TRUE(isAliveAndNotZombie(pid)) << "the stubborn child must be left running";
}

TEST_F(CommandRunnerWithChildren, CancellationStopsTheRunningChildAtOnce) {
    const auto pidFile = work_.path() / "pid";
    SystemCommandRunner runner(executor_, 20, scratch_.path());
    StartedTask<CommandResult> run(
        executor_,
        runner.run("/bin/sh",
                   {"-c", "echo $$ > \"$0.tmp\" && mv \"$0.tmp\" \"$0\" && exec sleep 30",
                    pidFile.string()}));
    executor_.runAll();
    const auto pid = awaitPidFile(pidFile);
    ASSERT_GT(pid, 0);

    const auto cancelled = std::chrono::steady_clock::now();
    run.cancel();
    ASSERT_TRUE(run.finish(executor_, 5s));
    const Seconds elapsed = std::chrono::steady_clock::now() - cancelled;

    EXPECT_TRUE(isCancellation(run.error()));
    EXPECT_LT(elapsed.count(), 0.3);
    EXPECT_FALSE(processState(pid)) << "the stopped child must be gone and reaped";
}

TEST_F(CommandRunnerWithChildren, CancellingAStubbornChildEndsTheRunAfterTheGrace) {
    const auto pidFile = work_.path() / "pid";
    SystemCommandRunner runner(executor_, 20, scratch_.path());
    StartedTask<CommandResult> run(executor_,
                                   runner.run(helperProgram("child_ignore_term"), {pidFile}));
    executor_.runAll();
    const auto pid = awaitPidFile(pidFile);
    ASSERT_GT(pid, 0);
    leftovers_.push_back(pid);

    const auto cancelled = std::chrono::steady_clock::now();
    run.cancel();
    ASSERT_TRUE(run.finish(executor_, 5s));
    const Seconds elapsed = std::chrono::steady_clock::now() - cancelled;

    EXPECT_TRUE(isCancellation(run.error()));
    EXPECT_GE(elapsed.count(), 0.39);
    EXPECT_LT(elapsed.count(), 0.9);
    EXPECT_TRUE(isAliveAndNotZombie(pid));
}

class CommandRunnerOnFullDisk : public ::testing::TestWithParam<int> {};

TEST_P(CommandRunnerOnFullDisk, ScratchFilesThatCannotBeMadeAreReportedAsSuch) {
    if (!testing::isRoot()) {
        GTEST_SKIP() << "mounting a tmpfs with few inodes needs root";
    }
    // Inodes for the folder, then for none or one of the two files.
    testing::TmpfsMount disk("size=1m,nr_inodes=" + std::to_string(GetParam()));
    ASSERT_TRUE(disk.isMounted());
    ManualExecutor executor;
    SystemCommandRunner runner(executor, 5, disk.path());
    try {
        runToEnd(executor, runner.run("/bin/true", {}));
        FAIL() << "the run must not start";
    } catch (const CommandRunnerError& error) {
        EXPECT_EQ(error.kind, CommandRunnerError::Kind::couldNotCreateTemporaryFiles);
        EXPECT_EQ(error.description(), "Tovo could not prepare a process check.");
    }
    EXPECT_TRUE(std::filesystem::is_empty(disk.path()));
}

INSTANTIATE_TEST_SUITE_P(InodeLimits, CommandRunnerOnFullDisk, ::testing::Values(2, 3));

} // namespace
} // namespace tovo
