#include "PresentationTestValues.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Support/TaskRunning.hpp"
#include "Tovo/Support/BackgroundApplicationLookup.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/DemoWorkflowFactory.hpp"
#include "Tovo/Support/ProcessPresentation.hpp"
#include "Tovo/Support/ReadableText.hpp"
#include "TovoCore/Async/Spawn.hpp"

namespace tovo {
namespace {

using namespace testing;

using Case = std::tuple<std::string, std::string, std::string>;

RunningApplication app(std::int32_t pid, std::optional<std::string> name,
                       ActivationPolicy policy = ActivationPolicy::regular) {
    return RunningApplication{pid, std::move(name), "org.example.App", policy};
}

// Command, desktop entry name ("-" for an entry without one), shown name.
TEST(ProcessName, FirstRuleThatAppliesNamesTheProcess) {
    for (const auto& [command, entryName, expected] :
         {Case{"com.apple.Virtualization.VirtualMachine", "Helper", "Virtual Machine"},
          Case{"x-VIRTUALIZATION.virtualmachine-2", "-", "Virtual Machine"},
          Case{"tracker-miner-f", "Indexer", "File Indexer"},
          Case{"baloo_file", "-", "File Indexer"}, Case{"qemu-system-x86", "-", "Virtual Machine"},
          Case{"mdsync", "-", "mdsync"}, Case{"gnome-text-editor", "Text Editor", "Text Editor"},
          Case{"gedit", "", "gedit"}, Case{"rsync", "-", "rsync"}}) {
        FakeApplicationRegistry registry;
        registry.add(app(4242, entryName == "-" ? std::nullopt : std::optional(entryName)));
        EXPECT_EQ(ProcessPresentation(&registry).name(makeProcess(4242, command)), expected);
    }
}

TEST(FallbackSymbol, ChoosesBySubstringThenShellName) {
    using Symbol = std::pair<std::string, std::string>;
    for (const auto& [command, symbol] :
         {Symbol{"VirtualBoxVM", "shippingbox.fill"}, Symbol{"virtual-mds", "shippingbox.fill"},
          Symbol{"localsearch-3", "magnifyingglass"}, Symbol{"Bash", "terminal.fill"},
          Symbol{"bash5", "app.fill"}}) {
        EXPECT_EQ(ProcessPresentation::fallbackSymbol(makeProcess(1, command)), symbol) << command;
        expectThemeIcon(symbol);
    }
}

using ActivityCase = std::pair<BlockingProcess, std::string>;

BlockingProcess dissenter() {
    auto process = processWith("vim", {openFile("/d/a", "3w", OpenAccess::write)});
    process.isSystemDissent = true;
    return process;
}

const std::string vm = "com.apple.Virtualization.VirtualMachine";
const auto cwd = openFile("/d", "cwd", OpenAccess::unknown);
const auto readFile = openFile("/d/a", "3r", OpenAccess::read);
const auto writeFile = openFile("/d/b", "4u", OpenAccess::readWrite);
const auto unclear = openFile("/d/c", "5", OpenAccess::unknown);
const std::string named = "The system named this process as the eject blocker.";
const std::string writing = "It has an item open for writing.";
const std::string inFolder = "Its current folder is on this disk";

// Each row's process also matches a later rule, so the order is what is tested.
TEST(Activity, FirstRuleThatAppliesGivesTheSentence) {
    for (const auto& [process, sentence] :
         {ActivityCase{dissenter(), named}, ActivityCase{processWith("vim", {}), named},
          ActivityCase{processWith(vm, {writeFile}), writing},
          ActivityCase{processWith(vm, {cwd, readFile}),
                       "A virtual machine has files open on this disk."},
          ActivityCase{processWith("tracker-extract-3", {cwd}),
                       "The file indexer has files open on this disk."},
          ActivityCase{processWith("bash", {cwd}), inFolder + "."},
          ActivityCase{processWith("bash", {cwd, unclear}),
                       inFolder + ", and it has one item open."},
          ActivityCase{processWith("bash", {readFile, cwd, unclear}),
                       inFolder + ", and it has 2 items open."},
          // The root folder is not the current folder.
          ActivityCase{processWith("bash", {openFile("/d", "rtd", OpenAccess::unknown)}),
                       "It has one item open on this disk."},
          ActivityCase{processWith("cp", {readFile, unclear}),
                       "Its access to this disk is not clear."},
          ActivityCase{processWith("cp", {readFile, readFile, readFile}),
                       "It has 3 items open on this disk."}}) {
        EXPECT_EQ(ProcessPresentation::activity(process), sentence) << process.command;
    }
}

TEST(ShowableApplication, PrefersTheProcessesOwnThenItsParentNeverABackgroundOne) {
    FakeApplicationRegistry registry;
    const ProcessPresentation presentation(&registry);
    auto process = makeProcess(50, "helper");
    process.parentApplication = ParentApplication{60, "Editor", "org.example.Editor"};
    registry.add(app(60, "Editor"));
    EXPECT_EQ(presentation.showableApplication(process)->pid, 60);
    EXPECT_FALSE(presentation.applicationIconName(process)) << "only its own app lends an icon";
    registry.add(app(50, "Helper", ActivationPolicy::prohibited));
    EXPECT_EQ(presentation.showableApplication(process)->pid, 60);
    EXPECT_EQ(presentation.applicationIconName(process), "org.example.App");
    registry.add(app(50, "Helper", ActivationPolicy::accessory));
    EXPECT_EQ(presentation.showableApplication(process)->pid, 50);
    registry.add(app(60, "Editor", ActivationPolicy::prohibited));
    registry.applications.erase(50);
    EXPECT_FALSE(presentation.showableApplication(process));
}

// Names come from /proc and desktop files, read off the UI thread: the window never
// waits, keeps the last answer while the rows are invalidated, then looks again.
TEST(BackgroundApplicationLookup, AnswersFromAWorkerAndLooksAgainOnlyAfterAnInvalidation) {
    ManualExecutor main;
    const auto registry = std::make_shared<FakeApplicationRegistry>();
    registry->add(app(7, "Editor"));
    BackgroundApplicationLookup lookup(registry, main);
    int changes = 0;
    lookup.setChangeHandler([&] { ++changes; });
    const auto name = [&] {
        return *lookup.runningApplication(7).value_or(app(7, "-")).localizedName;
    };
    EXPECT_EQ(name(), "-") << "never waits for the worker";
    ASSERT_TRUE(main.runUntil([&] { return changes == 1; }, std::chrono::seconds(5)));
    EXPECT_EQ(name(), "Editor");
    registry->add(app(7, "Text Editor"));
    lookup.invalidate();
    EXPECT_EQ(name(), "Editor") << "the last answer meanwhile";
    ASSERT_TRUE(main.runUntil([&] { return changes == 2; }, std::chrono::seconds(5)));
    EXPECT_EQ(name(), "Text Editor");
}

// Plan, attempt, status symbol, its colour, message colour.
using StatusCase = std::tuple<std::optional<ProcessReleasePlan>, std::optional<ReleaseDisposition>,
                              std::string, SymbolColor, TextColor>;

TEST(RowStatus, AttemptWinsOverPlan) {
    using enum ReleaseDisposition;
    using enum SymbolColor;
    const auto quit = std::optional(quitPlan(1));
    const auto manual = std::optional(manualPlan(1));
    const std::nullopt_t none = std::nullopt;
    const std::string arrow = "arrow.right.circle.fill";
    const std::string exclamation = "exclamationmark.circle.fill";
    for (const auto& [plan, disposition, symbol, color, messageColor] :
         {StatusCase{manual, requested, arrow, green, TextColor::primary},
          StatusCase{quit, alreadyClosed, "checkmark.circle.fill", green, TextColor::secondary},
          StatusCase{quit, needsManualAction, exclamation, orange, TextColor::primary},
          StatusCase{none, failed, "xmark.circle.fill", red, TextColor::primary},
          StatusCase{quit, none, arrow, SymbolColor::secondary, TextColor::secondary},
          StatusCase{manual, none, exclamation, orange, TextColor::primary},
          StatusCase{none, none, exclamation, orange, TextColor::secondary}}) {
        const auto outcome = disposition ? std::optional(attempt(1, *disposition)) : std::nullopt;
        EXPECT_EQ(std::tuple(ProcessPresentation::statusSymbol(plan, outcome),
                             ProcessPresentation::statusSymbolColor(plan, outcome),
                             ProcessPresentation::messageColor(plan, outcome)),
                  std::tuple(symbol, color, messageColor));
        expectThemeIcon(symbol);
    }
}

// What lsof escaped is shown as a person reads it, never as an escape code.
TEST(LsofText, UndoesTheEscapesAndShowsControlsAsSymbols) {
    using Row = std::pair<std::string, std::string>;
    for (const auto& [lsof, shown] :
         {Row{"new\\nline", "new\u23CEline"}, Row{"a\\tb", "a\u21E5b"}, Row{"a\\\\nb", "a\\nb"},
          Row{"caf\\xc3\\xa9", "caf\u00E9"}, Row{"x\\xff.jpg", "x\uFFFD.jpg"},
          Row{"a\\x7fb", "a\u2B1Ab"}, Row{"a^Bc", "a^Bc"}, Row{"a\\qb", "a\\qb"},
          Row{"a\\x4", "a\\x4"}}) {
        EXPECT_EQ(ReadableText::fromLsof(lsof), shown) << lsof;
    }
}

TEST(RawText, ControlsAndDirectionMarksBecomeVisible) {
    EXPECT_EQ(ReadableText::fromRaw("gpj.\u202Eexe"), "gpj.\u2B1Aexe");
    EXPECT_EQ(ReadableText::fromRaw("caf\u00E9 \U0001F600"), "caf\u00E9 \U0001F600");
}

TEST(ReadableRows, TheWindowReadsNamesAndPathsTheMachineReadableOutputKeepsThem) {
    const auto process = processWith("tool\nx", {openFile("/m/new\\nline", "3", OpenAccess::read)});
    const ProcessPresentation readable(nullptr, ProcessPresentation::Names::readable);
    const auto row = blockerRowContent(readable, process, std::nullopt, std::nullopt, std::nullopt);
    EXPECT_EQ(row.name, "tool\u23CEx");
    EXPECT_EQ(row.detailLines, std::vector<std::string>{"/m/new\u23CEline"});
    EXPECT_EQ(ProcessPresentation().name(process), "tool\nx");
}

const auto preview = DemoData::tovoableBlockers().front();

TEST(DemoScenario, ReadsOnItsOwnExecutorAndResumesOnTheMainOne) {
    ManualExecutor main;
    const auto isolation = std::make_shared<ManualExecutor>();
    DemoScenario scenario(DemoData::tovoableBlockers(), main, isolation);
    std::optional<std::vector<BlockingProcess>> read;
    auto body = [](DemoScenario& source, auto& out) -> Task<void> {
        out = co_await source.activeBlockers();
    };
    spawn(main, body(scenario, read));
    main.runAll();
    EXPECT_EQ(isolation->runAll(), 1u);
    EXPECT_FALSE(read) << "the result is delivered on the main executor";
    EXPECT_EQ(main.runAll(), 1u);
    EXPECT_EQ(read, DemoData::tovoableBlockers());
}

// The flows show the other plans; with automatic quits off an ordinary app's is manual too.
TEST(DemoProcessReleaser, PlansOnlyManualStepsWhenAutomaticQuitIsOff) {
    ManualExecutor main;
    const DemoProcessReleaser manual(
        std::make_shared<DemoScenario>(std::vector<BlockingProcess>{}, main), false);
    EXPECT_EQ(testing::runToEnd(main, manual.planRelease({preview})).at(0).strategy,
              ReleaseStrategy::manualAction);
}

} // namespace
} // namespace tovo
