#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Services/LiveIdentity.hpp"
#include "TovoSystem/Services/ProcessCommandPolicy.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tovo {
namespace {

using Policy = ProcessCommandPolicy;

TEST(ExecutableName, TakesTheLastNonEmptyPieceLowerCased) {
    EXPECT_EQ(Policy::executableName("/usr/lib/Apps/Viewer"), "viewer");
    EXPECT_EQ(Policy::executableName("/usr/bin/zsh/"), "zsh");
    EXPECT_EQ(Policy::executableName("//"), "//");
    EXPECT_EQ(Policy::executableName("ÉDITEUR"), "éditeur");
}

// What a blocker's command and executable make of it, in the order plans ask.
std::string part(const std::string& command, const std::optional<std::string>& executable) {
    if (!Policy::isSensitive(command, executable)) {
        return "ordinary";
    }
    if (Policy::isVirtualMachine(command, executable)) {
        return "virtual machine";
    }
    if (Policy::isTransfer(command, executable)) {
        return "transfer";
    }
    if (Policy::isShell(command, executable)) {
        return "shell";
    }
    if (Policy::isSystemHelper(command, executable)) {
        return Policy::isFileIndexer(command, executable) ? "indexer" : "system";
    }
    return "protected";
}

// Rows of "command|executable" (executable "-" when unknown), by the part they play.
// A kernel name is cut at 15 bytes; a shorter name is whole.
const std::vector<std::pair<std::string, std::vector<std::string>>> programParts{
    {"system",
     {"nautilus|/usr/bin/nautilus", "dolphin|/usr/bin/dolphin", "gnome-shell|/usr/bin/gnome-shell",
      "xdg-desktop-por|-", "gvfsd-fuse|/usr/libexec/gvfsd-fuse", "gsd-housekeepin|-"}},
    {"indexer",
     {"tracker-miner-f|-", "pool-tracker-mi|/usr/libexec/tracker-miner-fs-3",
      "localsearch-3|/usr/libexec/localsearch-3", "baloo_file|/usr/bin/baloo_file"}},
    {"shell",
     {"gnome-terminal-|-", "konsole|/usr/bin/konsole", "kitty|/usr/bin/kitty", "bash|/usr/bin/bash",
      "dash|/usr/bin/dash", "tmux: server|/usr/bin/tmux", "ssh|/usr/bin/ssh"}},
    {"transfer",
     {"cp|/usr/bin/cp", "dd|/usr/bin/dd", "borg|/usr/bin/python3.11", "deja-dup|/usr/bin/deja-dup",
      "rsync|/usr/bin/rsync", "nightly-backup|/usr/bin/bash"}},
    {"virtual machine",
     {"qemu-system-x86|-", "VirtualBoxVM|/usr/lib/virtualbox/VirtualBoxVM",
      "gnome-boxes|/usr/bin/gnome-boxes"}},
    {"protected", {"scp|/usr/bin/scp"}},
    {"ordinary",
     {"gedit|/usr/bin/gedit", "bashful|/usr/bin/bashful", "ssh-agent|/usr/bin/ssh-agent",
      "stable|/usr/bin/stable", "tracker|-"}}};

TEST(LinuxProgramPart, PlansByTheProgramsPart) {
    for (const auto& [expected, programs] : programParts) {
        for (const auto& program : programs) {
            const auto command = program.substr(0, program.find('|'));
            const auto executable = program.substr(program.find('|') + 1);
            EXPECT_EQ(part(command, executable == "-" ? std::nullopt : std::optional(executable)),
                      expected)
                << program;
        }
    }
}

// Each field of the live identity changed alone.
struct IdentityCase {
    std::string name;
    std::function<void(BlockingProcess&, ProcessMetadata&)> change;
    bool matches;
};

class LiveIdentity : public ::testing::TestWithParam<IdentityCase> {};

TEST_P(LiveIdentity, RequiresEveryFieldToMatch) {
    auto process = testing::makeProcess(4242);
    ProcessMetadata live{4242, 1000, 1000u, "editor", "/usr/bin/editor", {1'700'000'000, 250'000}};
    GetParam().change(process, live);
    testing::FakeProcessMetadataProvider provider;
    provider.add(live);
    EXPECT_EQ(liveIdentityMatches(process, provider), GetParam().matches);
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
        IdentityCase{"pathDiffers", [](auto&, auto& l) { l.executablePath = "/usr/bin/x"; }, false},
        IdentityCase{"livePathAbsent", [](auto&, auto& l) { l.executablePath.reset(); }, false},
        IdentityCase{"secondsDiffer", [](auto&, auto& l) { l.startTime.seconds += 1; }, false},
        IdentityCase{"microsecondsDiffer", [](auto&, auto& l) { l.startTime.microseconds += 1; },
                     false},
        IdentityCase{"startUnknown", [](auto& p, auto&) { p.startTime.reset(); }, false},
        IdentityCase{"processGone", [](auto&, auto& l) { l.pid = 9999; }, false}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo
