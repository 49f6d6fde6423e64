#include "Tovo/Support/LaunchOptions.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using Case = std::pair<std::vector<std::string>, LaunchOptions>;

class LaunchOptionsTest : public ::testing::TestWithParam<Case> {};

TEST_P(LaunchOptionsTest, ReadsSwitchesAsWholeArgumentsWithTheirPrecedence) {
    EXPECT_EQ(parseLaunchOptions(GetParam().first), GetParam().second);
}

using enum DemoScenarioKind;
using enum AppearanceOverride;
const LaunchOptions none{std::nullopt, std::nullopt};

INSTANTIATE_TEST_SUITE_P(
    Switches, LaunchOptionsTest,
    ::testing::Values(Case{{}, none}, Case{{"--demo-ready"}, {ready, std::nullopt}},
                      Case{{"--demo-blocked", "--demo-tovoable"}, {tovoable, std::nullopt}},
                      Case{{"--demo-ready", "--demo-blocked"}, {blocked, std::nullopt}},
                      Case{{"--demo-layered"}, {layered, std::nullopt}},
                      Case{{"--demo-layered", "--demo-ready"}, {ready, std::nullopt}},
                      Case{{"--demo-ready2"}, none}, Case{{"x--demo-ready"}, none},
                      Case{{"--demo-ready=1"}, none}, Case{{"--DEMO-READY"}, none},
                      Case{{"--demo-dark", "--demo-light"}, {std::nullopt, light}},
                      Case{{"--demo-dark", "other", "--demo-ready"}, {ready, dark}}));

TEST(LaunchOptionsArgv, TheProgramPathIsNotASwitch) {
    const char* argv[] = {"--demo-ready", "--demo-blocked"};
    EXPECT_EQ(parseLaunchOptions(2, argv).demoScenario, DemoScenarioKind::blocked);
    EXPECT_FALSE(parseLaunchOptions(1, argv).isDemo());
}

} // namespace
} // namespace tovo
