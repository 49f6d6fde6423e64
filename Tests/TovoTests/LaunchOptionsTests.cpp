#include "Tovo/Support/LaunchOptions.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

struct LaunchCase {
    std::string label;
    std::vector<std::string> arguments;
    LaunchOptions expected;
    friend void PrintTo(const LaunchCase& c, std::ostream* os) { *os << c.label; }
};

class LaunchOptionsTest : public ::testing::TestWithParam<LaunchCase> {};

TEST_P(LaunchOptionsTest, ReadsSwitchesAsWholeArguments) {
    EXPECT_EQ(parseLaunchOptions(GetParam().arguments), GetParam().expected);
}

using enum DemoScenarioKind;
using enum AppearanceOverride;

INSTANTIATE_TEST_SUITE_P(
    Switches, LaunchOptionsTest,
    ::testing::Values(
        LaunchCase{"NoArguments", {}, {std::nullopt, std::nullopt}},
        LaunchCase{"Tovoable", {"--demo-tovoable"}, {tovoable, std::nullopt}},
        LaunchCase{"Blocked", {"--demo-blocked"}, {blocked, std::nullopt}},
        LaunchCase{"Ready", {"--demo-ready"}, {ready, std::nullopt}},
        LaunchCase{"TovoableWinsOverBlockedWhateverTheOrder",
                   {"--demo-blocked", "--demo-tovoable"},
                   {tovoable, std::nullopt}},
        LaunchCase{
            "BlockedWinsOverReady", {"--demo-ready", "--demo-blocked"}, {blocked, std::nullopt}},
        LaunchCase{"SuffixIsNotASwitch", {"--demo-ready2"}, {std::nullopt, std::nullopt}},
        LaunchCase{"PrefixIsNotASwitch", {"x--demo-ready"}, {std::nullopt, std::nullopt}},
        LaunchCase{"ValueAttachedIsNotASwitch", {"--demo-ready=1"}, {std::nullopt, std::nullopt}},
        LaunchCase{"CaseMatters", {"--DEMO-READY"}, {std::nullopt, std::nullopt}},
        LaunchCase{"Light", {"--demo-light"}, {std::nullopt, light}},
        LaunchCase{"Dark", {"--demo-dark"}, {std::nullopt, dark}},
        LaunchCase{"LightWinsOverDark", {"--demo-dark", "--demo-light"}, {std::nullopt, light}},
        LaunchCase{"AppearanceIsIndependentOfScenario",
                   {"--demo-dark", "other", "--demo-ready"},
                   {ready, dark}}),
    [](const auto& info) { return info.param.label; });

TEST(LaunchOptionsArgv, TheProgramPathIsNotASwitch) {
    const char* argv[] = {"--demo-ready", "--demo-blocked"};
    EXPECT_EQ(parseLaunchOptions(2, argv).demoScenario, DemoScenarioKind::blocked);
    EXPECT_FALSE(parseLaunchOptions(1, argv).isDemo());
}

} // namespace
} // namespace tovo
