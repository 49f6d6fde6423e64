#include "TovoTerminal/TerminalOptions.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo {
namespace {

ParsedCommandLine parse(std::vector<std::string> arguments) {
    return parseTerminalArguments(arguments);
}

TEST(TerminalOptionsTest, ReadsEachCommandWithItsOptionsAnywhereOnTheLine) {
    EXPECT_EQ(
        parse({"--json", "list", "--demo-ready"}),
        ParsedCommandLine(TerminalOptions{
            TerminalCommand::list, std::nullopt, true, false, false, {}, DemoScenarioKind::ready}));
    EXPECT_EQ(parse({"eject", "-y", "/dev/sdb1", "--stop", "42", "--stop=7", "--stop", "42", "-n"}),
              ParsedCommandLine(TerminalOptions{
                  TerminalCommand::eject, "/dev/sdb1", false, true, true, {42, 7}, std::nullopt}));
    // After "--" even a leading dash is the disk.
    EXPECT_EQ(parse({"why", "--", "-odd-name"}),
              ParsedCommandLine(TerminalOptions{
                  TerminalCommand::why, "-odd-name", false, false, false, {}, std::nullopt}));
}

TEST(TerminalOptionsTest, HelpAndVersionAnswerWhateverElseIsThere) {
    EXPECT_EQ(parse({"eject", "--bogus", "--help"}), ParsedCommandLine(TerminalInformation::help));
    EXPECT_EQ(parse({"-h"}), ParsedCommandLine(TerminalInformation::help));
    EXPECT_EQ(parse({"list", "--version"}), ParsedCommandLine(TerminalInformation::version));
    // Past "--" they are arguments, not requests.
    EXPECT_TRUE(std::holds_alternative<UsageError>(parse({"why", "--", "--help", "x"})));
}

struct UsageRow {
    std::vector<std::string> arguments;
    std::string message;
};

class TerminalUsageErrorTest : public ::testing::TestWithParam<UsageRow> {};

TEST_P(TerminalUsageErrorTest, SaysWhatIsWrong) {
    const auto parsed = parseTerminalArguments(GetParam().arguments);
    ASSERT_TRUE(std::holds_alternative<UsageError>(parsed));
    EXPECT_EQ(std::get<UsageError>(parsed).message, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    EveryMistake, TerminalUsageErrorTest,
    ::testing::Values(
        UsageRow{{}, "Name a command: list, why or eject."},
        UsageRow{{"--json"}, "Name a command: list, why or eject."},
        UsageRow{{"unmount", "sdb"},
                 "Unknown command \u201Cunmount\u201D. The commands are list, why and eject."},
        UsageRow{{"list", "--force"}, "Unknown option \u201C--force\u201D."},
        UsageRow{{"eject", "sdb", "--demo-light"}, "Unknown option \u201C--demo-light\u201D."},
        UsageRow{{"why"},
                 "\u201Cwhy\u201D needs a disk: its id, a device path such as /dev/sdb, or a "
                 "mount point."},
        UsageRow{{"list", "sdb"}, "Unexpected argument \u201Csdb\u201D."},
        UsageRow{{"eject", "sdb", "--stop"}, "\u201C--stop\u201D needs a process id."},
        UsageRow{{"eject", "sdb", "--stop", "firefox"}, "\u201Cfirefox\u201D is not a process id."},
        UsageRow{{"eject", "sdb", "--stop=0"}, "\u201C0\u201D is not a process id."},
        UsageRow{{"eject", "sdb", "--stop", "-5"}, "\u201C-5\u201D is not a process id."},
        UsageRow{{"eject", "sdb", "--stop", "+5"}, "\u201C+5\u201D is not a process id."},
        UsageRow{{"eject", "sdb", "--stop", "99999999999"},
                 "\u201C99999999999\u201D is not a process id."},
        UsageRow{{"eject", "sdb", "--json"}, "\u201C--json\u201D works only with list and why."},
        UsageRow{{"why", "sdb", "--yes"}, "\u201C--yes\u201D works only with eject."},
        UsageRow{{"list", "--dry-run"}, "\u201C--dry-run\u201D works only with eject."},
        UsageRow{{"why", "sdb", "--stop", "12"}, "\u201C--stop\u201D works only with eject."},
        UsageRow{{"list", "--demo-ready", "--demo-blocked"},
                 "Choose one demo: --demo-tovoable, --demo-blocked, --demo-ready or "
                 "--demo-layered."}));

} // namespace
} // namespace tovo
