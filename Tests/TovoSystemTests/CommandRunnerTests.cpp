#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace tovo {
namespace {

using testing::runToEnd;
using testing::StartedTask;
using testing::TemporaryFolder;

struct TimeoutCase {
    double given;
    double effective;
    friend void PrintTo(const TimeoutCase& c, std::ostream* os) { *os << c.given; }
};

class CommandRunnerTimeout : public ::testing::TestWithParam<TimeoutCase> {};

TEST_P(CommandRunnerTimeout, NeverFallsBelowFiftyMilliseconds) {
    ManualExecutor executor;
    EXPECT_DOUBLE_EQ(SystemCommandRunner(executor, GetParam().given).timeout(),
                     GetParam().effective);
}

INSTANTIATE_TEST_SUITE_P(Limits, CommandRunnerTimeout,
                         ::testing::Values(TimeoutCase{0, 0.05}, TimeoutCase{-3, 0.05},
                                           TimeoutCase{0.01, 0.05}, TimeoutCase{0.05, 0.05},
                                           TimeoutCase{0.051, 0.051}, TimeoutCase{8, 8}));

struct ErrorTextCase {
    const char* name;
    std::string standardError;
    std::string expected;
    friend void PrintTo(const ErrorTextCase& c, std::ostream* os) { *os << c.name; }
};

class CommandResultErrorText : public ::testing::TestWithParam<ErrorTextCase> {};

TEST_P(CommandResultErrorText, IsTrimmedDecodedStandardError) {
    const CommandResult result{1, "p123\n", GetParam().standardError};
    EXPECT_EQ(result.errorText(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Streams, CommandResultErrorText,
                         ::testing::Values(ErrorTextCase{"WarningBetweenBlanks",
                                                         "\n  lsof: WARNING: can't stat()\n\n",
                                                         "lsof: WARNING: can't stat()"},
                                           ErrorTextCase{"InvalidUtf8", "bad \xff\xfe bytes\n",
                                                         "bad \xEF\xBF\xBD\xEF\xBF\xBD bytes"},
                                           ErrorTextCase{"Empty", "", ""},
                                           ErrorTextCase{"OnlyBlanks", " \t\r\n", ""}),
                         [](const auto& info) { return info.param.name; });

TEST(CommandRunner, ScratchFolderFailureIsTheFileSystemError) {
    TemporaryFolder folder;
    const auto notAFolder = folder.path() / "plain-file";
    std::ofstream(notAFolder) << "x";
    ManualExecutor executor;
    SystemCommandRunner runner(executor, 1, notAFolder);

    EXPECT_THROW(runToEnd(executor, runner.run("/bin/true", {})),
                 std::filesystem::filesystem_error);
}

TEST(CommandRunner, CancelledBeforeStartCreatesNothing) {
    TemporaryFolder folder;
    ManualExecutor executor;
    SystemCommandRunner runner(executor, 1, folder.path());

    StartedTask<CommandResult> run(executor, runner.run("/bin/true", {}));
    run.cancel();
    ASSERT_TRUE(run.finish(executor));

    EXPECT_TRUE(isCancellation(run.error()));
    EXPECT_TRUE(folder.isEmpty());
}

TEST(CommandRunner, MissingExecutableIsTheLaunchErrorAndLeavesNoFolder) {
    TemporaryFolder folder;
    ManualExecutor executor;
    SystemCommandRunner runner(executor, 1, folder.path());

    try {
        runToEnd(executor, runner.run(folder.path() / "no-such-tool", {"--version"}));
        FAIL() << "a missing executable must not run";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    }
    EXPECT_TRUE(folder.isEmpty());
}

} // namespace
} // namespace tovo
