#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Services/LiveIdentity.hpp"
#include "TovoSystem/Services/ProcessCommandPolicy.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tovo {
namespace {

using Policy = ProcessCommandPolicy;

// What a blocker's command and executable make of it, in the order plans ask.
std::string part(const std::string& c, const std::optional<std::string>& e) {
    return !Policy::isSensitive(c, e)       ? "ordinary"
           : Policy::isVirtualMachine(c, e) ? "virtual machine"
           : Policy::isTransfer(c, e)       ? "transfer"
           : Policy::isShell(c, e)          ? "shell"
           : Policy::isFileIndexer(c, e)    ? "indexer"
           : Policy::isSystemHelper(c, e)   ? "system"
                                            : "protected";
}

// Rows of "command|executable" (executable "-" when unknown), by the part they play.
// A kernel name is cut at 15 bytes; a shorter name is whole. Paths are compared by their
// last piece, in any case.
const std::vector<std::pair<std::string, std::vector<std::string>>> programParts{
    {"system", {"nautilus|/usr/bin/nautilus", "xdg-desktop-por|-"}},
    {"indexer", {"tracker-miner-f|-", "pool-tracker-mi|/usr/libexec/tracker-miner-fs-3"}},
    {"shell",
     {"gnome-terminal-|-", "bash|/usr/bin/bash", "tmux: server|/usr/bin/tmux", "x|/bin/ZSH/"}},
    {"transfer", {"borg|/usr/bin/python3.11", "nightly-backup|/usr/bin/bash"}},
    {"virtual machine", {"qemu-system-x86|-", "VirtualBoxVM|/usr/lib/virtualbox/VirtualBoxVM"}},
    {"protected", {"scp|/usr/bin/scp"}},
    {"ordinary",
     {"gedit|/usr/bin/gedit", "bashful|/usr/bin/bashful", "ssh-agent|/usr/bin/ssh-agent",
      "stable|/usr/bin/stable", "tracker|-", "x|//"}}};

TEST(LinuxProgramPart, PlansByTheProgramsPart) {
    for (const auto& [expected, programs] : programParts) {
        for (const auto& program : programs) {
            const auto bar = program.find('|');
            const auto exe = program.substr(bar + 1);
            EXPECT_EQ(part(program.substr(0, bar), exe == "-" ? std::nullopt : std::optional(exe)),
                      expected)
                << program;
        }
    }
}

// Each field of the live identity changed alone; only the command is not compared.
TEST(LiveIdentity, RequiresEveryFieldToMatch) {
    using Change = std::function<void(BlockingProcess&, ProcessMetadata&)>;
    const std::vector<std::pair<Change, bool>> changes{
        {[](auto&, auto& l) { l.command = "other"; }, true},
        {[](auto&, auto& l) { l.userID = 1001; }, false},
        {[](auto& p, auto&) { p.userID.reset(); }, false},
        {[](auto&, auto& l) { l.parentPID = 1; }, false},
        {[](auto& p, auto&) { p.parentPID.reset(); }, false},
        {[](auto&, auto& l) { l.executablePath = "/usr/bin/x"; }, false},
        {[](auto&, auto& l) { l.startTime.microseconds += 1; }, false},
        {[](auto& p, auto&) { p.startTime.reset(); }, false},
        {[](auto&, auto& l) { l.pid = 9999; }, false}}; // the process is gone
    for (std::size_t row = 0; row < changes.size(); ++row) {
        auto process = testing::makeProcess(4242);
        ProcessMetadata live{
            4242, 1000, 1000u, "editor", "/usr/bin/editor", {1'700'000'000, 250'000}};
        changes[row].first(process, live);
        testing::FakeProcessMetadataProvider provider;
        provider.add(live);
        EXPECT_EQ(liveIdentityMatches(process, provider), changes[row].second) << "row " << row;
    }
}

} // namespace
} // namespace tovo
