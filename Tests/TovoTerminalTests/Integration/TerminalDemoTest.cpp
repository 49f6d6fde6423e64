// The built `tovo` end to end over the demo services: every scenario, text and JSON,
// the answers a person types, and the exit status a script reads.
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

struct DemoRow {
    std::string name;
    std::string command; ///< the arguments, split at spaces
    std::string input;
    int exitCode;
    std::vector<std::string> shown;  ///< in standard output, in this order
    std::vector<std::string> absent; ///< nowhere in standard output
    std::string error = {};
};

DemoRow row(std::string name, std::string command, std::string input, int exitCode,
            std::vector<std::string> shown, std::vector<std::string> absent = {},
            std::string error = {}) {
    return {std::move(name),  std::move(command), std::move(input), exitCode,
            std::move(shown), std::move(absent),  std::move(error)};
}

struct Run {
    int exitCode;
    std::string output;
    std::string errors;
};

// The built program through the shell: the arguments hold no character it would read.
Run runTovo(const std::string& arguments, const std::string& input) {
    TemporaryFolder folder;
    const auto in = folder.path() / "in";
    std::ofstream(in) << input;
    const auto status = std::system(
        ("/usr/bin/env -u NO_COLOR " TOVO_TERMINAL_PROGRAM " " + arguments + " <" + in.string() +
         " >" + (folder.path() / "out").string() + " 2>" + (folder.path() / "err").string())
            .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            readText(folder.path() / "out").value_or(""),
            readText(folder.path() / "err").value_or("")};
}

// A JSON document that Python's parser accepts.
bool isJson(const std::string& text) {
    TemporaryFolder folder;
    const auto path = folder.path() / "document.json";
    std::ofstream(path) << text;
    return std::system(("/usr/bin/python3 -c 'import json,sys; json.load(open(sys.argv[1]))' " +
                        path.string())
                           .c_str()) == 0;
}

class TerminalDemoTest : public ::testing::TestWithParam<DemoRow> {};

TEST_P(TerminalDemoTest, PrintsAndExitsAsAPersonAndAScriptExpect) {
    const auto& row = GetParam();
    const auto run = runTovo(row.command, row.input);
    EXPECT_EQ(run.exitCode, row.exitCode) << run.output << run.errors;
    std::size_t from = 0;
    for (const auto& text : row.shown) {
        const auto at = run.output.find(text, from);
        ASSERT_NE(at, std::string::npos) << "missing, or out of order: " << text << "\n"
                                         << run.output;
        from = at + text.size();
    }
    for (const auto& text : row.absent) {
        EXPECT_THAT(run.output, Not(HasSubstr(text)));
    }
    if (row.error.empty()) {
        EXPECT_EQ(run.errors, "");
    } else {
        EXPECT_THAT(run.errors, StartsWith("tovo: " + row.error));
    }
    // Standard output is a file here: never a colour.
    EXPECT_THAT(run.output, Not(HasSubstr("\033[")));
    if (row.command.find("--json") != std::string::npos) {
        EXPECT_TRUE(isJson(run.output)) << run.output;
    }
}

const std::string question = "Ask Apps to Quit? [y/N] ";
const std::string stopQuestion = "Send Stop Request? [y/N] ";
const std::string ejected = "Ejected safely";

INSTANTIATE_TEST_SUITE_P(
    Scenarios, TerminalDemoTest,
    ::testing::Values(
        row("ListsTheSampleDisk", "list --demo-ready", "", 0,
            {"External Disks", "345-BACKUP", "1 TB", "id demo-disk", "/dev/disk9",
             "/Volumes/345-BACKUP", "428 GB free"}),
        row("ListsAsJson", "list --json --demo-blocked", "", 0,
            {"\"id\": \"demo-disk\"", "\"size\": 1000000000000",
             "\"mountPoint\": \"/Volumes/345-BACKUP\""},
            {"External Disks"}),
        row("WhyFindsNothingOnAnIdleDisk", "why 345-BACKUP --demo-ready", "", 0,
            {"Ready to eject", "Tovo will try the system's normal eject first."}, {"pid"}),
        row("WhyExplainsTheVirtualMachineAndItsPlans", "why /dev/disk9 --demo-blocked", "", 1,
            {"One app or service is using this disk", "Virtual Machine", "pid 90294",
             "Studio.bundle/Disk.img", "Stop the virtual machine, then try again.",
             "Stop: Tovo will send one stop request (SIGTERM)", "can lose unsaved state"},
            {"Finding what is in the way"}),
        row("WhyAsJsonCarriesEachPlan", "why /Volumes/345-BACKUP/ --json --demo-tovoable", "", 1,
            {"\"busy\": true", "\"pid\": 63120", "\"strategy\": \"quitApplication\"",
             "\"method\": \"quitApplication\""}),
        row("EjectsAnIdleDiskAtOnce", "eject demo-disk --demo-ready", "", 0,
            {"Checking \u201C345-BACKUP\u201D\u2026", ejected,
             "You can unplug \u201C345-BACKUP\u201D."},
            {question}),
        row("AsksAppsToQuitOnceConfirmed", "eject 345-BACKUP --demo-tovoable", "y\n", 0,
            {"Preview", "Safely eject \u201C345-BACKUP\u201D?", question + "y",
             "Releasing \u201C345-BACKUP\u201D\u2026", "Ejecting", ejected}),
        row("AsksNothingWhenTheAnswerIsNo", "eject 345-BACKUP --demo-tovoable", "n\n", 1,
            {question + "n"}, {"Releasing", ejected}),
        row("TakesTheEndOfInputAsNo", "eject 345-BACKUP --demo-tovoable", "", 1, {question},
            {"Releasing", ejected}),
        row("YesAnswersForAScript", "eject 345-BACKUP --demo-tovoable --yes", "", 0,
            {question + "y (--yes)", "Releasing", ejected}),
        row("YesNeverStopsAProcessOnItsOwn", "eject 345-BACKUP --demo-blocked --yes", "", 1,
            {"\u201C345-BACKUP\u201D still needs attention", "Tovo cannot close these blockers.",
             "run: tovo eject 345-BACKUP --stop 90294"},
            {question, stopQuestion, "Stopping", ejected}),
        row("StopsTheNamedProcessOnceConfirmed", "eject 345-BACKUP --demo-blocked --stop 90294",
            " Yes \n", 0,
            {"Stop \u201CVirtual Machine\u201D?", "Tovo never forces a kill.",
             stopQuestion + " Yes ", "Stopping \u201CVirtual Machine\u201D\u2026", ejected},
            {question}),
        row("SendsNoStopWithoutConfirmation", "eject 345-BACKUP --demo-blocked --stop=90294",
            "no\n", 1, {stopQuestion + "no"}, {"Stopping", ejected}),
        row("NamesAProcessThatHoldsNothing", "eject 345-BACKUP --demo-blocked --stop 4242 --yes",
            "", 1, {"still needs attention"}, {stopQuestion, "Stopping", "run: tovo eject"},
            "Process 4242 is not holding \u201C345-BACKUP\u201D."),
        row("DryRunChangesNothing", "eject 345-BACKUP --demo-tovoable --dry-run --yes --stop 63120",
            "", 1,
            {"Safely eject \u201C345-BACKUP\u201D?", "Stop \u201CPreview\u201D?",
             "Dry run: nothing was ejected, asked to quit or stopped."},
            {question, "Releasing", ejected}),
        row("WhyNamesHoldersThatAreNotProcesses", "why 345-BACKUP --demo-layered", "", 1,
            {"2 things keep this disk busy",
             "File system inside this disk\n    Another file system is mounted inside this disk "
             "at \u201C/Volumes/345-BACKUP/Projects/build-cache\u201D.",
             "Disk image"}),
        row("WhyAsJsonCarriesEachCauseAndItsAction", "why 345-BACKUP --demo-layered --json", "", 1,
            {"\"blockers\": []", "\"otherCauses\": [",
             "\"title\": \"File system inside this disk\"", "\"action\": \"unmountNested\""}),
        row("LeavesStepsBeyondAQuitToAPerson", "eject 345-BACKUP --demo-layered --yes", "", 1,
            {"File system inside this disk: Tovo will ask the system to unmount it.",
             "--yes approves only polite quits"},
            {"[y/N]", "Releasing", ejected}),
        row("ReleasesThemOnceAPersonConfirms", "eject 345-BACKUP --demo-layered", "y\n", 0,
            {"Disk image", "y\n", "Releasing", ejected}),
        row("FailsForADiskThatIsNotThere", "eject /dev/sdz --demo-ready", "", 2, {}, {ejected},
            "No external disk matches \u201C/dev/sdz\u201D. Run \u201Ctovo list\u201D to see "
            "them."),
        row("RefusesAnUnknownCommand", "frobnicate --demo-ready", "", 64, {}, {},
            "Unknown command \u201Cfrobnicate\u201D. The commands are list, why and eject."),
        row("HelpNamesEveryExitStatus", "eject --help", "", 0,
            {"Usage: tovo", "--stop PID", "Exit status:", "0   ejected", "1   the disk is",
             "2   failed", "64  bad usage"}),
        row("VersionNamesTheProgram", "--version", "", 0, {"tovo " TOVO_VERSION})),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo::testing
