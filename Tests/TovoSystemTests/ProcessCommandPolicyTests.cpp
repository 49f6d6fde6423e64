#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Services/LiveIdentity.hpp"
#include "TovoSystem/Services/ProcessCommandPolicy.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tovo {
namespace {

using Policy = ProcessCommandPolicy;

struct ExecutableNameCase {
    std::string command;
    std::string expected;
    friend void PrintTo(const ExecutableNameCase& c, std::ostream* os) { *os << c.command; }
};

class ExecutableName : public ::testing::TestWithParam<ExecutableNameCase> {};

TEST_P(ExecutableName, TakesTheLastNonEmptyPieceLowerCased) {
    EXPECT_EQ(Policy::executableName(GetParam().command), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Commands, ExecutableName,
                         ::testing::Values(
                             ExecutableNameCase{
                                 "/System/Library/CoreServices/Finder.app/Contents/MacOS/Finder",
                                 "finder"},
                             ExecutableNameCase{"/usr/bin/zsh/", "zsh"},
                             ExecutableNameCase{"Time Machine Helper", "time machine helper"},
                             ExecutableNameCase{"//", "//"}, ExecutableNameCase{"", ""},
                             ExecutableNameCase{"ÉDITEUR", "éditeur"}));

struct ClassificationCase {
    std::string command;
    bool virtualMachine;
    bool transfer;
    bool shell;
    bool sensitive;
    bool systemHelper;
    friend void PrintTo(const ClassificationCase& c, std::ostream* os) { *os << c.command; }
};

class Classification : public ::testing::TestWithParam<ClassificationCase> {};

TEST_P(Classification, MatchesEveryPredicate) {
    const auto& c = GetParam();
    EXPECT_EQ(Policy::isVirtualMachine(c.command), c.virtualMachine);
    EXPECT_EQ(Policy::isTransfer(c.command), c.transfer);
    EXPECT_EQ(Policy::isShell(c.command), c.shell);
    EXPECT_EQ(Policy::isSensitive(c.command), c.sensitive);
    EXPECT_EQ(Policy::isSystemHelper(c.command), c.systemHelper);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, Classification,
    ::testing::Values(
        // command                           vm     xfer   shell  sens   helper
        ClassificationCase{"qemu-system-x86_64", true, false, false, true, false},
        // "virtual" alone makes a virtual machine but not a sensitive command
        ClassificationCase{"VirtualBoxVM", true, false, false, false, false},
        ClassificationCase{"Virtual Machine Service", true, false, false, true, false},
        ClassificationCase{"backupd", false, true, false, true, false},
        ClassificationCase{"/usr/bin/rsync", false, true, false, true, false},
        ClassificationCase{"Dropbox Sync", false, true, false, true, false},
        ClassificationCase{"/bin/ZSH", false, false, true, true, false},
        ClassificationCase{"gnome-terminal-server", false, false, true, true, false},
        ClassificationCase{"iTerm2", false, false, true, true, false},
        // names are whole-name matches: "bashful" is no shell, "ssh-agent" is no ssh
        ClassificationCase{"bashful", false, false, false, false, false},
        ClassificationCase{"ssh-agent", false, false, false, false, false},
        ClassificationCase{"scp", false, false, false, true, false},
        ClassificationCase{"Time Machine Helper", false, false, false, true, false},
        ClassificationCase{"/System/Library/CoreServices/Dock.app/Contents/MacOS/Dock", false,
                           false, false, true, true},
        ClassificationCase{"loginwindow", false, false, false, true, true},
        ClassificationCase{"editor", false, false, false, false, false}));

// Each field of the live identity changed alone.
struct IdentityCase {
    std::string name;
    std::function<void(BlockingProcess&, ProcessMetadata&)> change;
    bool matches;
    friend void PrintTo(const IdentityCase& c, std::ostream* os) { *os << c.name; }
};

class LiveIdentity : public ::testing::TestWithParam<IdentityCase> {};

TEST_P(LiveIdentity, RequiresEveryFieldToMatch) {
    auto process = testing::makeProcess(4242);
    ProcessMetadata live{4242, 1000, 1000u, "editor", "/usr/bin/editor", {1'700'000'000, 250'000}};
    GetParam().change(process, live);
    testing::FakeProcessMetadataProvider provider;
    provider.add(live);
    EXPECT_EQ(liveIdentityMatches(process, provider), GetParam().matches);
    EXPECT_EQ(provider.metadataQueries, std::vector<std::int32_t>{4242});
}

INSTANTIATE_TEST_SUITE_P(
    Fields, LiveIdentity,
    ::testing::Values(
        IdentityCase{"same", [](auto&, auto&) {}, true},
        IdentityCase{"commandIsNotCompared", [](auto&, auto& l) { l.command = "other"; }, true},
        IdentityCase{"userDiffers", [](auto&, auto& l) { l.userID = 1001; }, false},
        IdentityCase{"userUnknown", [](auto& p, auto&) { p.userID.reset(); }, false},
        IdentityCase{"parentDiffers", [](auto&, auto& l) { l.parentPID = 1; }, false},
        IdentityCase{"parentUnknown", [](auto& p, auto&) { p.parentPID.reset(); }, false},
        IdentityCase{"pathDiffers", [](auto&, auto& l) { l.executablePath = "/usr/bin/other"; },
                     false},
        IdentityCase{"recordedPathAbsent", [](auto& p, auto&) { p.executablePath.reset(); }, false},
        IdentityCase{"livePathAbsent", [](auto&, auto& l) { l.executablePath.reset(); }, false},
        IdentityCase{"bothPathsAbsent",
                     [](auto& p, auto& l) {
                         p.executablePath.reset();
                         l.executablePath.reset();
                     },
                     true},
        IdentityCase{"secondsDiffer", [](auto&, auto& l) { l.startTime.seconds += 1; }, false},
        IdentityCase{"microsecondsDiffer", [](auto&, auto& l) { l.startTime.microseconds += 1; },
                     false},
        IdentityCase{"startUnknown", [](auto& p, auto&) { p.startTime.reset(); }, false},
        IdentityCase{"processGone", [](auto&, auto& l) { l.pid = 9999; }, false}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo
