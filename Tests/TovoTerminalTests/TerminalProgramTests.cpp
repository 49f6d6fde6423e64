// The terminal program in this process, over the demo services with one part replaced.
#include "Support/ScriptedBusyCauseFinder.hpp"
#include "Support/ScriptedServices.hpp"
#include "TovoTerminal/JsonWriter.hpp"
#include "TovoTerminal/MainLoopExecutor.hpp"
#include "TovoTerminal/ProgressLine.hpp"
#include "TovoTerminal/TerminalStyle.hpp"
#include "TovoTerminalTests/TerminalRunning.hpp"
#include "TovoTests/PresentationTestValues.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace tovo {
namespace {

using namespace tovo::testing;
using ::testing::HasSubstr;

// The finder reports unseen processes only where lsof found none, so it must be told.
TEST(TerminalWhy, CountsCausesWithTheProcessesAndTellsTheFinderWhatLsofFound) {
    for (const bool held : {false, true}) {
        std::shared_ptr<ScriptedBusyCauseFinder> finder;
        const auto scenario = held ? DemoScenarioKind::tovoable : DemoScenarioKind::ready;
        const auto why = runTerminal(
            {"why", "345-BACKUP"}, "",
            [&](Executor& executor) { return makeDemoServiceGraph(scenario, executor); },
            wholeDiskDeviceName,
            [&](Executor& executor) {
                finder = std::make_shared<ScriptedBusyCauseFinder>(executor);
                finder->searches.setValue({makeCause(BusyCauseKind::swap, "/dev/sdb2")});
                return finder;
            });
        EXPECT_EQ(why.exit, ExitCode::stillBusy) << why.errors;
        EXPECT_THAT(why.output, HasSubstr(held ? "2 things keep" : "One thing keeps"));
        EXPECT_THAT(why.output, HasSubstr("Swap\n    Part of this disk is used as swap."));
        ASSERT_EQ(finder->searches.callCount(), 1u);
        EXPECT_EQ(finder->searches.calls()[0].processesFound, held);
        EXPECT_EQ(finder->resolutions.callCount(), 0u) << "why changes nothing";
    }
}

// An app that stays after it was asked to quit is not asked again in the same run:
// the person gets the stop hint instead.
TEST(TerminalEject, AsksForTheReviewOnceEvenWhenTheDiskStaysBusy) {
    std::shared_ptr<ScriptedProcessReleaser> releaser;
    const auto eject = runTerminal({"eject", "345-BACKUP"}, "y\ny\n", [&](Executor& executor) {
        auto graph = makeDemoServiceGraph(DemoScenarioKind::tovoable, executor);
        releaser = std::make_shared<ScriptedProcessReleaser>(executor);
        releaser->planEach([](const BlockingProcess& process) { return quitPlan(process.pid); });
        releaser->answerRequestsWith(ReleaseDisposition::requested);
        graph.releaser = releaser;
        graph.settleDelayNanoseconds = graph.releaseTimeoutNanoseconds = 0;
        return graph;
    });
    EXPECT_EQ(eject.exit, ExitCode::stillBusy) << eject.output << eject.errors;
    EXPECT_EQ(releaser->requests.callCount(), 1u);
    EXPECT_EQ(eject.output.find("Ask Apps to Quit?"), eject.output.rfind("Ask Apps to Quit?"));
    EXPECT_THAT(eject.output, HasSubstr("--stop 63120"));
}

TEST(TerminalStyleTest, ColoursOnlyATerminalThatWantsThem) {
    // Arguments: standard output is a terminal, NO_COLOR, TERM.
    EXPECT_TRUE(TerminalStyle::wantsColour(true, "", nullptr)) << "an empty NO_COLOR is unset";
    EXPECT_FALSE(TerminalStyle::wantsColour(false, nullptr, "xterm"));
    EXPECT_FALSE(TerminalStyle::wantsColour(true, "1", "xterm"));
    EXPECT_FALSE(TerminalStyle::wantsColour(true, nullptr, "dumb"));
    EXPECT_EQ(TerminalStyle(false).paint("ok", SymbolColor::green), "ok");
    EXPECT_EQ(TerminalStyle(true).paint("ok", SymbolColor::green), "\033[32mok\033[0m");
}

TEST(TerminalStyleTest, ShowsControlCharactersInsteadOfObeyingThem) {
    // A file name can hold any byte but "/" and NUL, escapes included.
    EXPECT_EQ(TerminalStyle::printable("/media/a\033[2Jb\nc\x7F"), "/media/a\\x1B[2Jb\\x0Ac\\x7F");
    EXPECT_EQ(TerminalStyle::printable(std::string("x\xC2\x9B") + "31m"), "x\\x9B31m");
    EXPECT_EQ(TerminalStyle::printable("caf\xC3\xA9 \xE2\x80\x9Cq"), "caf\xC3\xA9 \xE2\x80\x9Cq");
    EXPECT_EQ(TerminalStyle::printable("bad\xFF"), "bad\xEF\xBF\xBD");
}

TEST(JsonWriterTest, WritesNestedValuesAndEscapesStrings) {
    JsonWriter writer;
    writer.beginObject().key("name").value("say \"hi\"\\\n\x01");
    writer.key("size").value(std::optional<std::int64_t>(12));
    writer.key("gone").value(std::optional<std::string>());
    writer.key("list").beginArray().value(true).beginObject().endObject().endArray();
    writer.key("empty").beginArray().endArray().key("bytes").value("\xFF").endObject();
    EXPECT_EQ(writer.text(), "{\n  \"name\": \"say \\\"hi\\\"\\\\\\n\\u0001\",\n  \"size\": 12,\n"
                             "  \"gone\": null,\n  \"list\": [\n    true,\n    {}\n  ],\n"
                             "  \"empty\": [],\n  \"bytes\": \"\xEF\xBF\xBD\"\n}\n");
}

struct ProgressScene {
    explicit ProgressScene(bool terminal, std::size_t columns = 80)
        : progress(output, terminal, style, columns) {}
    std::ostringstream output;
    const TerminalStyle style{false};
    ProgressLine progress;
};

TEST(ProgressLineTest, PrintsEachNewLineOnceToAFileAndRedrawsCutToWidthOnATerminal) {
    ProgressScene file(false);
    for (const auto& text : {"Checking", "Checking", "Releasing", "", "Releasing"}) {
        file.progress.show(*text ? std::optional<std::string>(text) : std::nullopt);
        file.progress.tick();
    }
    EXPECT_EQ(file.output.str(), "Checking\nReleasing\nReleasing\n");
    EXPECT_EQ(file.progress.tickInterval(), std::nullopt);

    ProgressScene terminal(true);
    terminal.progress.show("Checking");
    terminal.progress.tick();
    terminal.progress.show(std::nullopt);
    EXPECT_EQ(terminal.output.str(), "\r\033[2K| Checking\r\033[2K/ Checking\r\033[2K");
    EXPECT_TRUE(terminal.progress.tickInterval());

    // 10 columns go to the spinner and the seconds: 6 characters are left.
    ProgressScene narrow(true, 16);
    narrow.progress.show("\u201CAB\u201D and more");
    EXPECT_EQ(narrow.output.str(), "\r\033[2K| \u201CAB\u201D \u2026");
}

// The workflow runs only here, so it needs no locks: work from other threads waits its
// turn, and the loop stops the moment the program is done, leaving the rest queued.
TEST(MainLoopExecutorTest, RunsPostedWorkOnTheCallingThreadUntilDoneAndNoFurther) {
    MainLoopExecutor executor;
    std::vector<std::thread::id> ranOn;
    int afterEach = 0;
    std::thread([&] {
        for (int index = 0; index < 5; ++index) {
            executor.post([&] { ranOn.push_back(std::this_thread::get_id()); });
        }
    }).join();
    executor.runUntil([] { return true; });
    EXPECT_TRUE(ranOn.empty());
    executor.runUntil([&] { return ranOn.size() == 3; }, [&] { ++afterEach; });
    EXPECT_EQ(afterEach, 3);
    executor.runUntil([&] { return ranOn.size() == 5; });
    EXPECT_EQ(ranOn, std::vector(5, std::this_thread::get_id()));
}

} // namespace
} // namespace tovo
