// The built `tovo` end to end over the demo services: every scenario, text and JSON,
// the answers a person types, and the exit status a script reads.
#include "TovoTerminalTests/Integration/TerminalRun.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

struct DemoRow {
    std::string name;
    std::vector<std::string> arguments;
    std::string input;
    int exitCode;
    /// Must appear in standard output, in this order.
    std::vector<std::string> shown;
    /// Must not appear in standard output.
    std::vector<std::string> absent;
    std::string error;
};

// A JSON document that Python's parser accepts.
bool isJson(const std::string& text) {
    TemporaryFolder folder;
    const auto path = folder.path() / "document.json";
    if (FILE* file = std::fopen(path.c_str(), "w")) {
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
    }
    const auto command = "/usr/bin/python3 -c 'import json,sys; json.load(open(sys.argv[1]))' '" +
                         path.string() + "'";
    return std::system(command.c_str()) == 0;
}

class TerminalDemoTest : public ::testing::TestWithParam<DemoRow> {};

TEST_P(TerminalDemoTest, PrintsAndExitsAsAPersonAndAScriptExpect) {
    const auto& row = GetParam();
    const auto run = runTovo(row.arguments, row.input);
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
        EXPECT_THAT(run.errors, HasSubstr(row.error));
        EXPECT_TRUE(run.errors.starts_with("tovo: ")) << run.errors;
    }
    // Standard output is a file here: never a colour.
    EXPECT_THAT(run.output, Not(HasSubstr("\033[")));
    if (std::ranges::find(row.arguments, "--json") != row.arguments.end()) {
        EXPECT_TRUE(isJson(run.output)) << run.output;
    }
}

const std::string vm = "Virtual Machine";
const std::string question = "Ask Apps to Quit? [y/N] ";
const std::string stopQuestion = "Send Stop Request? [y/N] ";

INSTANTIATE_TEST_SUITE_P(
    Scenarios, TerminalDemoTest,
    ::testing::Values(
        DemoRow{"ListsTheSampleDisk",
                {"list", "--demo-ready"},
                "",
                0,
                {"External Disks", "345-BACKUP", "1 TB", "id demo-disk", "/dev/disk9",
                 "/Volumes/345-BACKUP", "428 GB free"},
                {},
                ""},
        DemoRow{"ListsAsJson",
                {"list", "--json", "--demo-blocked"},
                "",
                0,
                {"\"id\": \"demo-disk\"", "\"size\": 1000000000000",
                 "\"mountPoint\": \"/Volumes/345-BACKUP\""},
                {"External Disks"},
                ""},
        DemoRow{"WhyFindsNothingOnAnIdleDisk",
                {"why", "345-BACKUP", "--demo-ready"},
                "",
                0,
                {"Ready to eject", "Tovo will try the system's normal eject first."},
                {"pid"},
                ""},
        DemoRow{"WhyExplainsTheVirtualMachineAndItsPlans",
                {"why", "/dev/disk9", "--demo-blocked"},
                "",
                1,
                {"One app or service is using this disk", "Follow the steps below", vm, "pid 90294",
                 "A virtual machine has files open on this disk.", "Studio.bundle/Disk.img",
                 "Stop the virtual machine, then try again.",
                 "Stop: Tovo will send one stop request (SIGTERM)", "can lose unsaved state"},
                {"Finding what is in the way"},
                ""},
        DemoRow{"WhyAsJsonCarriesEachPlan",
                {"why", "/Volumes/345-BACKUP/", "--json", "--demo-tovoable"},
                "",
                1,
                {"\"busy\": true", "\"pid\": 63120", "\"strategy\": \"quitApplication\"",
                 "\"method\": \"quitApplication\""},
                {},
                ""},
        DemoRow{"EjectsAnIdleDiskAtOnce",
                {"eject", "demo-disk", "--demo-ready"},
                "",
                0,
                {"Checking \u201C345-BACKUP\u201D\u2026", "Ejected safely",
                 "You can unplug \u201C345-BACKUP\u201D."},
                {question},
                ""},
        DemoRow{"AsksAppsToQuitOnceConfirmed",
                {"eject", "345-BACKUP", "--demo-tovoable"},
                "y\n",
                0,
                {"Preview", "Safely eject \u201C345-BACKUP\u201D?",
                 "Tovo will ask one app to quit.", question + "y",
                 "Releasing \u201C345-BACKUP\u201D\u2026", "Ejecting", "Ejected safely"},
                {},
                ""},
        DemoRow{"AsksNothingWhenTheAnswerIsNo",
                {"eject", "345-BACKUP", "--demo-tovoable"},
                "n\n",
                1,
                {question + "n"},
                {"Releasing", "Ejected safely"},
                ""},
        DemoRow{"TakesTheEndOfInputAsNo",
                {"eject", "345-BACKUP", "--demo-tovoable"},
                "",
                1,
                {question},
                {"Releasing", "Ejected safely"},
                ""},
        DemoRow{"YesAnswersForAScript",
                {"eject", "345-BACKUP", "--demo-tovoable", "--yes"},
                "",
                0,
                {question + "y (--yes)", "Releasing", "Ejected safely"},
                {},
                ""},
        DemoRow{"YesNeverStopsAProcessOnItsOwn",
                {"eject", "345-BACKUP", "--demo-blocked", "--yes"},
                "",
                1,
                {"\u201C345-BACKUP\u201D still needs attention",
                 "Tovo cannot close these blockers.", "run: tovo eject 345-BACKUP --stop 90294"},
                {question, stopQuestion, "Stopping", "Ejected safely"},
                ""},
        DemoRow{"StopsTheNamedProcessOnceConfirmed",
                {"eject", "345-BACKUP", "--demo-blocked", "--stop", "90294"},
                "y\n",
                0,
                {"Stop \u201CVirtual Machine\u201D?", "can lose unsaved state",
                 "Tovo never forces a kill.", stopQuestion + "y",
                 "Stopping \u201CVirtual Machine\u201D\u2026", "Ejected safely"},
                {question},
                ""},
        DemoRow{"SendsNoStopWithoutConfirmation",
                {"eject", "345-BACKUP", "--demo-blocked", "--stop=90294"},
                "no\n",
                1,
                {stopQuestion + "no"},
                {"Stopping", "Ejected safely"},
                ""},
        DemoRow{"NamesAProcessThatHoldsNothing",
                {"eject", "345-BACKUP", "--demo-blocked", "--stop", "4242", "--yes"},
                "",
                1,
                {"still needs attention"},
                {stopQuestion, "Stopping"},
                "Process 4242 is not holding \u201C345-BACKUP\u201D."},
        DemoRow{"DryRunChangesNothing",
                {"eject", "345-BACKUP", "--demo-tovoable", "--dry-run", "--yes", "--stop", "63120"},
                "",
                1,
                {"Preview", "Safely eject \u201C345-BACKUP\u201D?", "Stop \u201CPreview\u201D?",
                 "Dry run: nothing was ejected, asked to quit or stopped."},
                {question, "Releasing", "Ejected safely"},
                ""},
        DemoRow{"WhyNamesHoldersThatAreNotProcesses",
                {"why", "345-BACKUP", "--demo-layered"},
                "",
                1,
                {"File system inside this disk", "/Volumes/345-BACKUP/Projects/build-cache",
                 "Disk image"},
                {},
                ""},
        DemoRow{"LeavesStepsBeyondAQuitToAPerson",
                {"eject", "345-BACKUP", "--demo-layered", "--yes"},
                "",
                1,
                {"File system inside this disk: Tovo will ask the system to unmount it.",
                 "--yes approves only polite quits"},
                {"[y/N]", "Releasing", "Ejected safely"},
                ""},
        DemoRow{"ReleasesThemOnceAPersonConfirms",
                {"eject", "345-BACKUP", "--demo-layered"},
                "y\n",
                0,
                {"Disk image", "y\n", "Releasing", "Ejected safely"},
                {},
                ""},
        DemoRow{"FailsForADiskThatIsNotThere",
                {"eject", "/dev/sdz", "--demo-ready"},
                "",
                2,
                {},
                {"Ejected safely"},
                "No external disk matches \u201C/dev/sdz\u201D."},
        DemoRow{"RefusesAnUnknownCommand",
                {"frobnicate", "--demo-ready"},
                "",
                64,
                {},
                {},
                "Unknown command \u201Cfrobnicate\u201D."},
        DemoRow{"HelpNamesEveryExitStatus",
                {"eject", "--help"},
                "",
                0,
                {"Usage: tovo", "--stop PID", "Exit status:", "0   ejected", "1   the disk is",
                 "2   failed", "64  bad usage"},
                {},
                ""},
        DemoRow{"VersionNamesTheProgram", {"--version"}, "", 0, {"tovo " TOVO_VERSION}, {}, ""}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo::testing
