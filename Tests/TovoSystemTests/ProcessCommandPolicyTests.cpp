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
    EXPECT_EQ(Policy::executableName("/usr/lib/Finder.app/Contents/MacOS/Finder"), "finder");
    EXPECT_EQ(Policy::executableName("/usr/bin/zsh/"), "zsh");
    EXPECT_EQ(Policy::executableName("Time Machine Helper"), "time machine helper");
    EXPECT_EQ(Policy::executableName("//"), "//");
    EXPECT_EQ(Policy::executableName("ÉDITEUR"), "éditeur");
}

// Names match whole executable names, word lists match substrings.
TEST(ProcessCommandPolicy, ClassifiesByNameOrSubstring) {
    EXPECT_TRUE(Policy::isVirtualMachine("VirtualBoxVM"));
    EXPECT_FALSE(Policy::isSensitive("VirtualBoxVM"));
    EXPECT_TRUE(Policy::isTransfer("Dropbox Sync"));
    EXPECT_TRUE(Policy::isShell("/bin/ZSH"));
    EXPECT_TRUE(Policy::isShell("gnome-terminal-server"));
    EXPECT_FALSE(Policy::isShell("bashful"));
    EXPECT_FALSE(Policy::isSensitive("ssh-agent"));
    EXPECT_TRUE(
        Policy::isSystemHelper("/System/Library/CoreServices/Dock.app/Contents/MacOS/Dock"));
    EXPECT_FALSE(Policy::isSensitive("editor") || Policy::isSystemHelper("editor"));
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
