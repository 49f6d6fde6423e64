#include "PresentationTestValues.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Tovo/Support/ProcessPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::FakeApplicationRegistry;
using testing::makeProcess;
using testing::openFile;
using testing::processWith;

RunningApplication app(std::int32_t pid, std::optional<std::string> name,
                       ActivationPolicy policy = ActivationPolicy::regular) {
    return RunningApplication{pid, std::move(name), "org.example.App", policy};
}

struct NameCase {
    std::string label;
    std::string command;
    std::optional<std::string> registeredName;
    std::string expected;
    friend void PrintTo(const NameCase& c, std::ostream* os) { *os << c.label; }
};

class ProcessNameTest : public ::testing::TestWithParam<NameCase> {};

TEST_P(ProcessNameTest, FirstRuleThatAppliesNamesTheProcess) {
    FakeApplicationRegistry registry;
    if (GetParam().registeredName) {
        registry.add(app(4242, GetParam().registeredName));
    }
    const auto process = makeProcess(4242, GetParam().command);
    EXPECT_EQ(ProcessPresentation(&registry).name(process), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, ProcessNameTest,
    ::testing::Values(
        NameCase{"VirtualMachineBeforeDesktopEntry", "com.apple.Virtualization.VirtualMachine",
                 "Helper", "Virtual Machine"},
        NameCase{"VirtualMachineInAnyCaseAnywhere", "x-VIRTUALIZATION.virtualmachine-2",
                 std::nullopt, "Virtual Machine"},
        NameCase{"Mds", "mds", "Indexer", "Spotlight"},
        NameCase{"MdworkerUpperCase", "MDWORKER", std::nullopt, "Spotlight"},
        NameCase{"MdsStores", "mds_stores", std::nullopt, "Spotlight"},
        NameCase{"MdsPrefixIsNotSpotlight", "mdsync", std::nullopt, "mdsync"},
        NameCase{"DesktopEntryName", "gnome-text-editor", "Text Editor", "Text Editor"},
        NameCase{"EmptyEntryNameFallsBackToCommand", "gedit", "", "gedit"},
        NameCase{"Command", "rsync", std::nullopt, "rsync"}),
    [](const auto& info) { return info.param.label; });

TEST(ProcessName, WithoutRegistryUsesTheCommand) {
    EXPECT_EQ(ProcessPresentation().name(makeProcess(1, "Preview")), "Preview");
}

TEST(ProcessIcon, OnlyTheProcessesOwnApplicationLendsItsIcon) {
    FakeApplicationRegistry registry;
    auto process = makeProcess(5, "helper");
    process.parentApplication = ParentApplication{6, "Editor", "org.example.Editor"};
    registry.add(app(6, "Editor"));
    const ProcessPresentation presentation(&registry);
    EXPECT_FALSE(presentation.applicationIconName(process));
    registry.add(app(5, "Helper", ActivationPolicy::prohibited));
    EXPECT_EQ(presentation.applicationIconName(process), "org.example.App");
    EXPECT_FALSE(ProcessPresentation().applicationIconName(process));
}

struct SymbolCase {
    std::string command;
    std::string symbol;
    friend void PrintTo(const SymbolCase& c, std::ostream* os) { *os << c.command; }
};

class FallbackSymbolTest : public ::testing::TestWithParam<SymbolCase> {};

TEST_P(FallbackSymbolTest, ChoosesBySubstringThenShellName) {
    EXPECT_EQ(ProcessPresentation::fallbackSymbol(makeProcess(1, GetParam().command)),
              GetParam().symbol);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, FallbackSymbolTest,
    ::testing::Values(SymbolCase{"VirtualBoxVM", "shippingbox.fill"},
                      SymbolCase{"virtual-mds", "shippingbox.fill"},
                      SymbolCase{"mds_stores", "magnifyingglass"},
                      SymbolCase{"Bash", "terminal.fill"}, SymbolCase{"zsh", "terminal.fill"},
                      SymbolCase{"fish", "terminal.fill"}, SymbolCase{"sh", "terminal.fill"},
                      SymbolCase{"dash", "app.fill"}, SymbolCase{"bash5", "app.fill"},
                      SymbolCase{"Preview", "app.fill"}));

struct ActivityCase {
    std::string label;
    BlockingProcess process;
    std::string sentence;
    friend void PrintTo(const ActivityCase& c, std::ostream* os) { *os << c.label; }
};

class ActivityTest : public ::testing::TestWithParam<ActivityCase> {};

TEST_P(ActivityTest, FirstRuleThatAppliesGivesTheSentence) {
    EXPECT_EQ(ProcessPresentation::activity(GetParam().process), GetParam().sentence);
}

BlockingProcess dissenter() {
    auto process = processWith("vim", {openFile("/d/a", "3w", OpenAccess::write)});
    process.isSystemDissent = true;
    return process;
}

const auto cwd = openFile("/d", "cwd", OpenAccess::unknown);
const auto readFile = openFile("/d/a", "3r", OpenAccess::read);
const auto writeFile = openFile("/d/b", "4w", OpenAccess::write);
const auto unclear = openFile("/d/c", "5", OpenAccess::unknown);

INSTANTIATE_TEST_SUITE_P(
    Rules, ActivityTest,
    ::testing::Values(
        ActivityCase{"DissentBeatsWriting", dissenter(),
                     "macOS named this process as the eject blocker."},
        ActivityCase{"NoOpenFiles", processWith("vim", {}),
                     "macOS named this process as the eject blocker."},
        ActivityCase{"WritingBeatsVirtualMachine",
                     processWith("com.apple.Virtualization.VirtualMachine", {writeFile}),
                     "It has an item open for writing."},
        ActivityCase{"ReadWriteCountsAsWriting",
                     processWith("vim", {openFile("/d/a", "3u", OpenAccess::readWrite)}),
                     "It has an item open for writing."},
        ActivityCase{"VirtualMachineBeatsCurrentFolder",
                     processWith("com.apple.Virtualization.VirtualMachine", {cwd, readFile}),
                     "A virtual machine has files open on this disk."},
        ActivityCase{"SpotlightBeatsCurrentFolder", processWith("mdworker", {cwd}),
                     "Spotlight has files open on this disk."},
        ActivityCase{"CurrentFolderAlone", processWith("bash", {cwd}),
                     "Its current folder is on this disk."},
        ActivityCase{"CurrentFolderAndOneItem", processWith("bash", {cwd, readFile}),
                     "Its current folder is on this disk, and it has one item open."},
        ActivityCase{"CurrentFolderAndSeveralItems", processWith("bash", {readFile, cwd, unclear}),
                     "Its current folder is on this disk, and it has 2 items open."},
        ActivityCase{"CurrentFolderBeatsUnclearAccess", processWith("bash", {cwd, unclear}),
                     "Its current folder is on this disk, and it has one item open."},
        ActivityCase{"RootFolderIsNotCurrentFolder",
                     processWith("bash", {openFile("/d", "rtd", OpenAccess::unknown)}),
                     "It has one item open on this disk."},
        ActivityCase{"UnclearAccess", processWith("cp", {readFile, unclear}),
                     "Its access to this disk is not clear."},
        ActivityCase{"OneItem", processWith("cp", {readFile}),
                     "It has one item open on this disk."},
        ActivityCase{"SeveralItems", processWith("cp", {readFile, readFile, readFile}),
                     "It has 3 items open on this disk."}),
    [](const auto& info) { return info.param.label; });

TEST(OpenFileLabel, MarksOnlyTheCurrentFolder) {
    EXPECT_EQ(ProcessPresentation::label(cwd), "Current folder: /d");
    EXPECT_EQ(ProcessPresentation::label(openFile("/d", "rtd", OpenAccess::unknown)), "/d");
    EXPECT_EQ(ProcessPresentation::label(readFile), "/d/a");
    EXPECT_EQ(ProcessPresentation::label(openFile("/d/x", std::nullopt, OpenAccess::read)), "/d/x");
}

TEST(ShowableApplication, PrefersTheProcessesOwnThenItsParentNeverABackgroundOne) {
    FakeApplicationRegistry registry;
    const ProcessPresentation presentation(&registry);
    auto process = makeProcess(50, "helper");
    process.parentApplication = ParentApplication{60, "Editor", "org.example.Editor"};

    EXPECT_FALSE(presentation.showableApplication(process));

    registry.add(app(60, "Editor"));
    EXPECT_EQ(presentation.showableApplication(process)->pid, 60);

    registry.add(app(50, "Helper", ActivationPolicy::prohibited));
    EXPECT_EQ(presentation.showableApplication(process)->pid, 60);

    registry.add(app(50, "Helper", ActivationPolicy::accessory));
    EXPECT_EQ(presentation.showableApplication(process)->pid, 50);

    registry.add(app(60, "Editor", ActivationPolicy::prohibited));
    registry.applications.erase(50);
    EXPECT_FALSE(presentation.showableApplication(process));
    EXPECT_FALSE(ProcessPresentation().showableApplication(process));
}

struct StatusCase {
    std::string label;
    std::optional<ProcessReleasePlan> plan;
    std::optional<ReleaseDisposition> disposition;
    std::string symbol;
    SymbolColor color;
    TextColor messageColor;
    friend void PrintTo(const StatusCase& c, std::ostream* os) { *os << c.label; }
};

class RowStatusTest : public ::testing::TestWithParam<StatusCase> {};

TEST_P(RowStatusTest, AttemptWinsOverPlan) {
    const auto& c = GetParam();
    const auto attempt =
        c.disposition ? std::optional(testing::attempt(1, *c.disposition)) : std::nullopt;
    EXPECT_EQ(ProcessPresentation::statusSymbol(c.plan, attempt), c.symbol);
    EXPECT_EQ(ProcessPresentation::statusSymbolColor(c.plan, attempt), c.color);
    EXPECT_EQ(ProcessPresentation::messageColor(c.plan, attempt), c.messageColor);
}

using enum ReleaseDisposition;
const auto quit = std::optional(testing::quitPlan(1));
const auto manual = std::optional(testing::manualPlan(1));

INSTANTIATE_TEST_SUITE_P(
    Table, RowStatusTest,
    ::testing::Values(StatusCase{"Requested", quit, requested, "arrow.right.circle.fill",
                                 SymbolColor::green, TextColor::secondary},
                      StatusCase{"RequestedUnderManualPlan", manual, requested,
                                 "arrow.right.circle.fill", SymbolColor::green, TextColor::primary},
                      StatusCase{"AlreadyClosed", quit, alreadyClosed, "checkmark.circle.fill",
                                 SymbolColor::green, TextColor::secondary},
                      StatusCase{"NeedsManualAction", quit, needsManualAction,
                                 "exclamationmark.circle.fill", SymbolColor::orange,
                                 TextColor::primary},
                      StatusCase{"Failed", std::nullopt, failed, "xmark.circle.fill",
                                 SymbolColor::red, TextColor::primary},
                      StatusCase{"QuitPlan", quit, std::nullopt, "arrow.right.circle.fill",
                                 SymbolColor::secondary, TextColor::secondary},
                      StatusCase{"ManualPlan", manual, std::nullopt, "exclamationmark.circle.fill",
                                 SymbolColor::orange, TextColor::primary},
                      StatusCase{"NothingKnown", std::nullopt, std::nullopt,
                                 "exclamationmark.circle.fill", SymbolColor::orange,
                                 TextColor::secondary}),
    [](const auto& info) { return info.param.label; });

} // namespace
} // namespace tovo
