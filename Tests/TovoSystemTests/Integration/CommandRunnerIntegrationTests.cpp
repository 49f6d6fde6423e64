#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <regex>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using namespace testing;
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

    /// Starts `arguments` (whose last one is the pid file it writes), cancels it once it
    /// runs and returns the child's pid and how long the run took to end.
    std::pair<pid_t, double> cancelRunning(std::filesystem::path executable,
                                           std::vector<std::string> arguments) {
        SystemCommandRunner runner(executor_, 20, scratch_.path());
        const std::filesystem::path pidFile = arguments.back();
        StartedTask<CommandResult> run(executor_, runner.run(executable, arguments));
        executor_.runAll();
        const auto pid = awaitPidFile(pidFile);
        const auto cancelled = std::chrono::steady_clock::now();
        run.cancel();
        EXPECT_TRUE(run.finish(executor_, 5s));
        EXPECT_TRUE(isCancellation(run.error()));
        return {pid, Seconds(std::chrono::steady_clock::now() - cancelled).count()};
    }

    ManualExecutor executor_;
    TemporaryFolder scratch_;
    TemporaryFolder work_;
    std::vector<pid_t> leftovers_;
};

struct RunCase {
    const char* name;
    std::vector<std::string> command;
    CommandResult expected;
};

class CommandRunnerResults : public CommandRunnerWithChildren,
                             public ::testing::WithParamInterface<RunCase> {};

TEST_P(CommandRunnerResults, CapturesStatusAndBothStreams) {
    auto arguments = GetParam().command;
    const std::filesystem::path executable = arguments.front();
    arguments.erase(arguments.begin());
    EXPECT_EQ(run(executable, arguments), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Children, CommandRunnerResults,
    ::testing::Values(
        RunCase{"ExitOneWithNothingWritten", {"/bin/false"}, {1, "", ""}},
        RunCase{"BothStreams",
                {"/bin/sh", "-c", "printf 'p1\\0'; printf ' careful \\n' >&2; exit 3"},
                {3, std::string("p1\0", 3), " careful \n"}},
        RunCase{"ArgumentsVerbatimWithoutAShell",
                {"/usr/bin/printf", "%s|", "a b", "$HOME", "*", ""},
                {0, "a b|$HOME|*||", ""}},
        RunCase{"EndedByASignal", {"/bin/sh", "-c", "kill -TERM $$"}, {SIGTERM, "", ""}},
        RunCase{"OutputLargerThanAPipe",
                {"/bin/sh", "-c", "head -c 3000000 /dev/zero"},
                {0, std::string(3'000'000, '\0'), ""}}),
    [](const auto& info) { return info.param.name; });

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
        ADD_FAILURE() << "the run must time out";
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
    const auto [pid, elapsed] = cancelRunning(
        "/bin/sh", {"-c", "echo $$ > \"$0.tmp\" && mv \"$0.tmp\" \"$0\" && exec sleep 30",
                    (work_.path() / "pid").string()});
    ASSERT_GT(pid, 0);
    EXPECT_LT(elapsed, 0.3);
    EXPECT_FALSE(processState(pid)) << "the stopped child must be gone and reaped";
}

TEST_F(CommandRunnerWithChildren, CancellingAStubbornChildEndsTheRunAfterTheGrace) {
    const auto [pid, elapsed] =
        cancelRunning(helperProgram("child_ignore_term"), {(work_.path() / "pid").string()});
    ASSERT_GT(pid, 0);
    leftovers_.push_back(pid);
    EXPECT_GE(elapsed, 0.39);
    EXPECT_LT(elapsed, 0.9);
    EXPECT_TRUE(isAliveAndNotZombie(pid));
}

TEST_F(CommandRunnerWithChildren, TheStopReachesTheHelpersTheChildForked) {
    // Time-out and cancellation: each ends the child's whole group with its one SIGTERM.
    const auto helperOf = [this](const std::string& run) {
        return std::vector<std::string>{"/", (work_.path() / (run + "-parent")).string(),
                                        (work_.path() / run).string()};
    };
    EXPECT_THROW(run(helperProgram("holder_cwd"), helperOf("timed-out"), 0.3), CommandRunnerError);
    cancelRunning(helperProgram("holder_cwd"), helperOf("cancelled"));

    for (const auto* name : {"timed-out", "cancelled"}) {
        const auto helper = awaitPidFile(work_.path() / name);
        ASSERT_GT(helper, 0);
        EXPECT_TRUE(eventually([helper] { return !isAliveAndNotZombie(helper); }, 2s))
            << "the " << name << " child's helper outlived it";
    }
}

class CommandRunnerOnFullDisk : public ::testing::TestWithParam<int> {};

TEST_P(CommandRunnerOnFullDisk, ScratchFilesThatCannotBeMadeAreReportedAsSuch) {
    if (!isRoot()) {
        GTEST_SKIP() << "mounting a tmpfs with few inodes needs root";
    }
    // Inodes for the folder, then for none or one of the two files.
    TmpfsMount disk("size=1m,nr_inodes=" + std::to_string(GetParam()));
    ASSERT_TRUE(disk.isMounted());
    ManualExecutor executor;
    SystemCommandRunner runner(executor, 5, disk.path());
    try {
        runToEnd(executor, runner.run("/bin/true", {}));
        ADD_FAILURE() << "the run must not start";
    } catch (const CommandRunnerError& error) {
        EXPECT_EQ(error.kind, CommandRunnerError::Kind::couldNotCreateTemporaryFiles);
        EXPECT_EQ(error.description(), "Tovo could not prepare a process check.");
    }
    EXPECT_TRUE(std::filesystem::is_empty(disk.path()));
}

INSTANTIATE_TEST_SUITE_P(InodeLimits, CommandRunnerOnFullDisk, ::testing::Values(2, 3));

} // namespace
} // namespace tovo
