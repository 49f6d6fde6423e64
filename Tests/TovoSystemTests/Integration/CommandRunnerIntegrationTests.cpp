#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <map>
#include <regex>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using namespace testing;

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

    ManualExecutor executor_;
    TemporaryFolder scratch_;
    TemporaryFolder work_;
    std::vector<pid_t> leftovers_;
};

// The exit code, or the signal that ended the child, and both streams, however long;
// arguments reach the program verbatim, without a shell between.
TEST_F(CommandRunnerWithChildren, CapturesStatusAndBothStreams) {
    SystemCommandRunner runner(executor_, 5, scratch_.path());
    for (const auto& [script, expected] : std::vector<std::pair<std::string, CommandResult>>{
             {"printf '%s|' \"$@\"; printf ' careful \\n' >&2; exit 3",
              {3, "a b|$HOME|*||", " careful \n"}},
             {"kill -TERM $$", {SIGTERM, "", ""}},
             {"head -c 3000000 /dev/zero", {0, std::string(3'000'000, '\0'), ""}}}) {
        EXPECT_EQ(runToEnd(executor_,
                           runner.run("/bin/sh", {"-c", script, "sh", "a b", "$HOME", "*", ""})),
                  expected)
            << script;
    }
}

TEST_F(CommandRunnerWithChildren, ScratchFilesLiveInAFreshUpperCaseUuidFolderOfTmpdir) {
    const std::string saved = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp";
    ::setenv("TMPDIR", scratch_.path().c_str(), 1);
    SystemCommandRunner runner(executor_, 5);
    const auto result =
        runToEnd(executor_, runner.run("/bin/readlink", {"/proc/self/fd/1", "/proc/self/fd/2"}));
    ::setenv("TMPDIR", saved.c_str(), 1);
    const std::regex expected(scratch_.path().string() +
                              "/Tovo-([0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-"
                              "[0-9A-F]{12})/stdout\n\\1?.*/stderr\n");
    EXPECT_TRUE(std::regex_match(result.standardOutput, expected)) << result.standardOutput;
}

const std::string tookTooLong = "The process check took too long. Try again.";

enum class Child { obeying, stubborn, forking };

struct StopCase {
    const char* name;
    bool cancelled; ///< else it times out after 0.3 s
    Child child;
    double atLeast; ///< seconds from the start, or from the cancellation
    double atMost;
};

class CommandRunnerStops : public CommandRunnerWithChildren,
                           public ::testing::WithParamInterface<StopCase> {};

// One SIGTERM to the child's whole group; a child that ignores it is left running
// after a 0.4 s grace, never killed.
TEST_P(CommandRunnerStops, EndsTheChildsGroupOrAbandonsItAfterTheGrace) {
    const auto& row = GetParam();
    const auto pidFile = (work_.path() / "pid").string();
    const std::map<Child, std::vector<std::string>> commands{
        {Child::obeying, {helperProgram("holder_write"), work_.path() / "draft", pidFile}},
        {Child::stubborn, {helperProgram("child_ignore_term"), pidFile}},
        // The pid file is its forked helper's.
        {Child::forking, {helperProgram("holder_cwd"), "/", work_.path() / "parent", pidFile}}};
    const auto& command = commands.at(row.child);
    SystemCommandRunner runner(executor_, row.cancelled ? 20 : 0.3, scratch_.path());
    auto from = std::chrono::steady_clock::now();
    StartedTask<CommandResult> run(executor_,
                                   runner.run(command[0], {command.begin() + 1, command.end()}));
    executor_.runAll();
    const auto pid = awaitPidFile(pidFile);
    ASSERT_GT(pid, 0);
    if (row.cancelled) {
        from = std::chrono::steady_clock::now();
        run.cancel();
    }
    ASSERT_TRUE(run.finish(executor_, 5s));
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - from;

    EXPECT_TRUE(row.cancelled ? isCancellation(run.error())
                              : readableMessage(run.error()) == tookTooLong);
    EXPECT_GE(elapsed.count(), row.atLeast);
    EXPECT_LT(elapsed.count(), row.atMost);
    if (row.child == Child::stubborn) {
        leftovers_.push_back(pid);
        EXPECT_TRUE(isAliveAndNotZombie(pid)) << "the stubborn child must be left running";
    } else {
        // A direct child is reaped too; a helper is left to whoever adopted it.
        EXPECT_TRUE(eventually(
            [&] {
                return row.child == Child::obeying ? !processState(pid) : !isAliveAndNotZombie(pid);
            },
            2s));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Endings, CommandRunnerStops,
    ::testing::Values(StopCase{"StubbornChildTimedOut", false, Child::stubborn, 0.69, 1.2},
                      StopCase{"ChildCancelled", true, Child::obeying, 0, 0.3},
                      StopCase{"StubbornChildCancelled", true, Child::stubborn, 0.39, 0.9},
                      StopCase{"HelperOfAChildTimedOut", false, Child::forking, 0.29, 0.69}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(CommandRunnerWithChildren, ScratchFilesThatCannotBeMadeAreReportedAsSuch) {
    // Inodes for the folder, then for none or one of the two files.
    for (const auto inodes : {"2", "3"}) {
        TmpfsMount disk(std::string("size=1m,nr_inodes=") + inodes);
        ASSERT_TRUE(disk.isMounted()) << "mounting a tmpfs with few inodes needs root";
        SystemCommandRunner runner(executor_, 5, disk.path());
        StartedTask<CommandResult> run(executor_, runner.run("/bin/true", {}));
        ASSERT_TRUE(run.finish(executor_));
        EXPECT_EQ(readableMessage(run.error()), "Tovo could not prepare a process check.");
        EXPECT_TRUE(std::filesystem::is_empty(disk.path())) << inodes;
    }
}

std::size_t openDescriptorCount() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// Whether a child of this process ended and was never reaped; it stays unreaped.
bool hasZombieChild() {
    siginfo_t info{};
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

// Many runs with every kind of ending must leave nothing behind: no zombie, no
// scratch folder, no descriptor.
TEST(CommandRunnerStressTest, ThreeHundredMixedRunsLeaveNothingBehind) {
    ManualExecutor executor;
    TemporaryFolder scratch;
    SystemCommandRunner patient(executor, 5.0, scratch.path());
    SystemCommandRunner hasty(executor, -3, scratch.path());
    EXPECT_DOUBLE_EQ(hasty.timeout(), 0.05) << "the floor";
    const auto descriptorsBefore = openDescriptorCount();

    for (int run = 0; run < 300; ++run) {
        const int kind = run % 4; // succeeds, fails, times out, is cancelled
        StartedTask<CommandResult> task(executor, kind == 0   ? patient.run("/bin/echo", {"p1"})
                                                  : kind == 1 ? patient.run("/bin/false", {})
                                                  : kind == 2 ? hasty.run("/bin/sleep", {"10"})
                                                              : patient.run("/bin/sleep", {"10"}));
        if (kind == 3) {
            executor.runAll();
            if (run % 8 == 7) {
                std::this_thread::sleep_for(10ms); // the stop then reaches a running child
            }
            task.cancel();
        }
        ASSERT_TRUE(task.finish(executor));
        ASSERT_TRUE(kind < 2    ? task.value() && task.value()->status == kind
                    : kind == 2 ? readableMessage(task.error()) == tookTooLong
                                : isCancellation(task.error()))
            << "run " << run;
    }
    EXPECT_TRUE(eventually([] { return !hasZombieChild(); }, 2000ms)) << "a child was not reaped";
    EXPECT_TRUE(scratch.isEmpty()) << "a scratch folder was left behind";
    EXPECT_TRUE(eventually([&] { return openDescriptorCount() == descriptorsBefore; }, 2000ms))
        << openDescriptorCount() << " descriptors open, " << descriptorsBefore << " before";
}

} // namespace
} // namespace tovo
