#include "Support/FakeProcessMetadataProvider.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Services/LiveIdentity.hpp"
#include "TovoSystem/Services/ProcessCommandPolicy.hpp"

#include <gtest/gtest.h>

#include <cctype>
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

struct PartCase {
    const char* command; ///< as the kernel or lsof gives it: cut to 15 bytes by the kernel
    std::optional<std::string> executable;
    const char* part;
};

class LinuxProgramPart : public ::testing::TestWithParam<PartCase> {};

TEST_P(LinuxProgramPart, PlansByTheProgramsPart) {
    EXPECT_EQ(part(GetParam().command, GetParam().executable), GetParam().part);
}

const auto unknown = std::nullopt;

INSTANTIATE_TEST_SUITE_P(
    Programs, LinuxProgramPart,
    ::testing::Values(
        PartCase{"nautilus", "/usr/bin/nautilus", "system"},
        PartCase{"dolphin", "/usr/bin/dolphin", "system"},
        PartCase{"gnome-shell", "/usr/bin/gnome-shell", "system"},
        PartCase{"xdg-desktop-por", unknown, "system"},
        PartCase{"gvfsd-fuse", "/usr/libexec/gvfsd-fuse", "system"},
        PartCase{"gsd-housekeepin", unknown, "system"},
        PartCase{"tracker-miner-f", unknown, "indexer"},
        PartCase{"pool-tracker-mi", "/usr/libexec/tracker-miner-fs-3", "indexer"},
        PartCase{"localsearch-3", "/usr/libexec/localsearch-3", "indexer"},
        PartCase{"baloo_file", "/usr/bin/baloo_file", "indexer"},
        PartCase{"gnome-terminal-", unknown, "shell"},
        PartCase{"konsole", "/usr/bin/konsole", "shell"},
        PartCase{"kitty", "/usr/bin/kitty", "shell"}, PartCase{"bash", "/usr/bin/bash", "shell"},
        PartCase{"dash", "/usr/bin/dash", "shell"},
        PartCase{"tmux: server", "/usr/bin/tmux", "shell"},
        PartCase{"ssh", "/usr/bin/ssh", "shell"}, PartCase{"cp", "/usr/bin/cp", "transfer"},
        PartCase{"dd", "/usr/bin/dd", "transfer"},
        PartCase{"borg", "/usr/bin/python3.11", "transfer"},
        PartCase{"deja-dup", "/usr/bin/deja-dup", "transfer"},
        PartCase{"rsync", "/usr/bin/rsync", "transfer"},
        PartCase{"nightly-backup", "/usr/bin/bash", "transfer"},
        PartCase{"qemu-system-x86", unknown, "virtual machine"},
        PartCase{"VirtualBoxVM", "/usr/lib/virtualbox/VirtualBoxVM", "virtual machine"},
        PartCase{"gnome-boxes", "/usr/bin/gnome-boxes", "virtual machine"},
        PartCase{"scp", "/usr/bin/scp", "protected"},
        PartCase{"gedit", "/usr/bin/gedit", "ordinary"},
        PartCase{"bashful", "/usr/bin/bashful", "ordinary"},
        PartCase{"ssh-agent", "/usr/bin/ssh-agent", "ordinary"},
        PartCase{"stable", "/usr/bin/stable", "ordinary"},
        // A kernel name is cut at 15 bytes; a shorter name is whole.
        PartCase{"tracker", unknown, "ordinary"}),
    [](const auto& info) {
        std::string name;
        for (const char c : std::string(info.param.command)) {
            name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        }
        return name + "_" + std::to_string(info.index);
    });

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
