// The built `tovo` end to end over the demo services: the answers a person types, the
// exit status and JSON a script reads.
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sys/wait.h>

namespace tovo::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct Row {
    std::string name;
    std::string command; ///< the arguments, split at spaces
    std::string input;
    int exitCode;
    std::vector<std::string> shown;       ///< in standard output, in this order
    std::vector<std::string> absent = {}; ///< nowhere in standard output
    std::string error = {};
};

class TerminalDemoTest : public ::testing::TestWithParam<Row> {};

// The built program through the shell: the arguments hold no character it would read.
TEST_P(TerminalDemoTest, PrintsAndExitsAsAPersonAndAScriptExpect) {
    const auto& row = GetParam();
    TemporaryFolder folder;
    const auto in = folder.path() / "in", out = folder.path() / "out";
    std::ofstream(in) << row.input;
    const auto status =
        std::system(("/usr/bin/env -u NO_COLOR " TOVO_TERMINAL_PROGRAM " " + row.command + " <" +
                     in.string() + " >" + out.string() + " 2>" + (folder.path() / "err").string())
                        .c_str());
    const auto output = readText(out).value_or(""),
               errors = readText(folder.path() / "err").value_or("");
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, row.exitCode) << output << errors;
    std::size_t from = 0;
    for (const auto& text : row.shown) {
        const auto at = output.find(text, from);
        ASSERT_NE(at, std::string::npos) << "missing, or out of order: " << text << "\n" << output;
        from = at + text.size();
    }
    for (const auto& text : row.absent) {
        EXPECT_THAT(output, Not(HasSubstr(text)));
    }
    EXPECT_EQ(errors.empty(), row.error.empty()) << errors;
    EXPECT_THAT(errors, StartsWith(row.error.empty() ? "" : "tovo: " + row.error));
    // Standard output is a file here: never a colour.
    EXPECT_THAT(output, Not(HasSubstr("\033[")));
    if (row.command.find("--json") != std::string::npos) {
        const std::string parses = "python3 -c 'import json,sys; json.load(open(sys.argv[1]))' ";
        EXPECT_EQ(std::system((parses + out.string()).c_str()), 0) << output;
    }
}

const std::string question = "Ask Apps to Quit? [y/N] ";
const std::string stopQuestion = "Send Stop Request? [y/N] ";
const std::string ejected = "Ejected safely";
const std::string tovoable = "eject 345-BACKUP --demo-tovoable";
const std::string blocked = "eject 345-BACKUP --demo-blocked";
const std::string layered = "eject 345-BACKUP --demo-layered";

// Texts a presentation function decides are pinned with it; these rows keep what the
// terminal adds: its prompts and answers, exit statuses, hints, JSON and list layout.
INSTANTIATE_TEST_SUITE_P(
    Scenarios, TerminalDemoTest,
    ::testing::Values(
        Row("ListsTheSampleDisk", "list --demo-ready", "", 0,
            {"External Disks", "345-BACKUP", "id demo-disk", "/dev/disk9", "428 GB free"}),
        Row("ListsAsJson", "list --json --demo-blocked", "", 0,
            {"\"id\": \"demo-disk\"", "\"size\": 1000000000000", "\"mountPoint\": \"/Volumes/"},
            {"External Disks"}),
        Row("WhyFindsNothingOnAnIdleDisk", "why 345-BACKUP --demo-ready", "", 0, {}, {"pid"}),
        Row("WhyExplainsTheVirtualMachineAndItsPlans", "why /dev/disk9 --demo-blocked", "", 1,
            {"Virtual Machine  pid 90294", "Studio.bundle/Disk.img", "Stop: Tovo will send"}),
        Row("WhyAsJsonCarriesEachPlan", "why /Volumes/345-BACKUP/ --json --demo-tovoable", "", 1,
            {"\"busy\": true", "\"strategy\": \"quitApplication\"", "\"method\": \"quitApp"}),
        Row("EjectsAnIdleDiskAtOnce", "eject demo-disk --demo-ready", "", 0, {ejected}, {question}),
        Row("AsksAppsToQuitOnceConfirmed", tovoable, "y\n", 0,
            {question + "y", "Releasing", ejected}),
        Row("AsksNothingWhenTheAnswerIsNo", tovoable, "n\n", 1, {question + "n"},
            {"Releasing", ejected}),
        Row("TakesTheEndOfInputAsNo", tovoable, "", 1, {question}, {"Releasing", ejected}),
        Row("YesAnswersForAScript", tovoable + " --yes", "", 0, {question + "y (--yes)", ejected}),
        Row("StopsTheNamedProcessOnceConfirmed", blocked + " --stop 90294", " Yes \n", 0,
            {stopQuestion + " Yes ", "Stopping", ejected}, {question}),
        Row("SendsNoStopWithoutConfirmation", blocked + " --stop=90294", "no\n", 1,
            {stopQuestion + "no"}, {"Stopping", ejected}),
        Row("NamesAProcessThatHoldsNothing", blocked + " --stop 4242 --yes", "", 1, {},
            {stopQuestion, "run: tovo eject"},
            "Process 4242 is not holding \u201C345-BACKUP\u201D."),
        Row("DryRunChangesNothing", tovoable + " --dry-run --yes --stop 63120", "", 1,
            {"Stop \u201CPreview\u201D?",
             "Dry run: nothing was ejected, asked to quit or stopped."},
            {question, "Releasing", ejected}),
        Row("WhyAsJsonCarriesEachCauseAndItsAction", "why 345-BACKUP --demo-layered --json", "", 1,
            {"\"blockers\": []", "\"otherCauses\": [", "\"action\": \"unmountNested\""}),
        Row("LeavesStepsBeyondAQuitToAPerson", layered + " --yes", "", 1,
            {"--yes approves only polite quits"}, {"[y/N]", "Releasing", ejected}),
        Row("ReleasesThemOnceAPersonConfirms", layered, "y\n", 0,
            {"[y/N] y\n", "Releasing", ejected}),
        Row("FailsForADiskThatIsNotThere", "eject /dev/sdz --demo-ready", "", 2, {}, {},
            "No external disk matches"),
        Row("RefusesAnUnknownCommand", "frob --demo-ready", "", 64, {}, {}, "Unknown command"),
        Row("HelpNamesEveryExitStatus", "eject --help", "", 0,
            {"Usage: tovo", "--stop PID", "Exit status:", "64  bad usage"}),
        Row("VersionNamesTheProgram", "--version", "", 0, {"tovo " TOVO_VERSION})),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo::testing
