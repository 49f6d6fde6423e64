#include "Support/ModelBuilders.hpp"
#include "Tovo/Support/ByteCountFormat.hpp"
#include "Tovo/Support/Contrast.hpp"
#include "Tovo/Support/DiskCardPresentation.hpp"
#include "Tovo/Support/LaunchOptions.hpp"
#include "Tovo/Support/SymbolIcons.hpp"
#include "Tovo/Support/Typography.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <ranges>
#include <set>
#include <vector>

namespace tovo {
namespace {

TEST(Elide, CutsToTheLimitWithAnEllipsisNeverInsideACharacter) {
    using Row = std::tuple<std::string, std::size_t, std::string>;
    for (const auto& [text, limit, shown] :
         {Row{"abcde", 5, "abcde"}, Row{"abcdef", 5, "abcd\u2026"},
          Row{"\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9", 4, "\u00E9\u00E9\u00E9\u2026"},
          Row{"ab\U0001F600\U0001F600\U0001F600", 4, "ab\U0001F600\u2026"},
          Row{"abc defgh", 5, "abc\u2026"}, Row{"abc", 0, ""}}) {
        EXPECT_EQ(elided(text, limit), shown) << text;
    }
}

using namespace DiskCardPresentation;

TEST(ByteCount, PrintsDecimalUnitsLikeAFileBrowser) {
    using Bytes = std::pair<std::int64_t, std::string>;
    for (const auto& [bytes, shown] :
         {Bytes{0, "0 bytes"}, Bytes{1, "1 byte"}, Bytes{999, "999 bytes"}, Bytes{1000, "1 kB"},
          Bytes{1499, "1 kB"}, Bytes{1500, "2 kB"}, Bytes{999'499, "999 kB"},
          Bytes{999'500, "1 MB"}, Bytes{12'345'678, "12.3 MB"}, Bytes{12'000'000, "12 MB"},
          Bytes{999'960'000, "1 GB"}, Bytes{2'005'000'000'000, "2.01 TB"}, Bytes{-2'500, "-3 kB"},
          Bytes{std::numeric_limits<std::int64_t>::min(), "-9.22 EB"}}) {
        EXPECT_EQ(formatByteCount(bytes), shown) << bytes;
    }
}

TEST(DiskCardDetail, JoinsAKnownSizeAndFormatWithAMiddleDot) {
    auto disk = testing::makeDisk(1); // a 1 MB ext4 volume
    EXPECT_EQ(detailText(disk), "1 MB \u00B7 ext4");
    disk.volumes.front().totalCapacity = std::nullopt;
    EXPECT_EQ(detailText(disk), "ext4");
    disk.volumes.front().formatDescription = std::nullopt;
    EXPECT_EQ(detailText(disk), "External disk");
}

TEST(DiskSelector, CountLabel) {
    EXPECT_EQ(diskCountAccessibilityLabel(1), "One connected external disk");
    EXPECT_EQ(diskCountAccessibilityLabel(2), "2 connected external disks");
}

// A card that had to shorten its name gives the whole name on hover.
TEST(DiskCardTooltip, GivesTheWholeNameWhenCutAndSaysWhichDiskIsSelected) {
    EXPECT_EQ(cardTooltip("Photo Archive", false, false), "");
    EXPECT_EQ(cardTooltip("Photo Archive", true, false), "Selected disk");
    EXPECT_EQ(cardTooltip("Photo Archive", true, true), "Photo Archive\nSelected disk");
}

constexpr Rgb black{0, 0, 0};
constexpr Rgb white{1, 1, 1};

TEST(Contrast, MeasuresAsTheGuidelinesDo) {
    EXPECT_NEAR(Contrast::ratio(black, white), 21.0, 1e-9);
    // #767676 on white is the classic grey that just passes.
    const double grey = 0x76 / 255.0;
    EXPECT_NEAR(Contrast::ratio({grey, grey, grey}, white), 4.54, 0.01);
}

TEST(Contrast, FaintTextIsStrengthenedUntilItReadsOnEveryBackground) {
    const std::vector<Rgb> backgrounds{white, {0.9, 0.85, 0.8}};
    const auto weakest = [&](double opacity) {
        return std::ranges::min(backgrounds | std::views::transform([&](const Rgb& background) {
                                    return Contrast::ratio(
                                        Contrast::over(black, opacity, background), background);
                                }));
    };
    const double opacity = Contrast::readableOpacity(black, backgrounds, 0.4);
    EXPECT_GE(weakest(opacity), 4.5);
    EXPECT_LT(weakest(opacity - 0.01), 4.5) << "no stronger than it must be";
    EXPECT_EQ(Contrast::readableOpacity({0.5, 0.5, 0.5}, backgrounds, 0.4), 1.0)
        << "grey on near-white never reads: full strength";
}

TEST(SymbolIcons, ThemeIconsAndTheMissingImageExistInAdwaita) {
    const std::filesystem::path theme = "/usr/share/icons/Adwaita";
    if (!std::filesystem::is_directory(theme)) {
        GTEST_SKIP() << "the Adwaita icon theme is not installed";
    }
    std::set<std::string, std::less<>> available;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(theme)) {
        // "name.png", "name.svg" and "name.symbolic.png" all provide "name".
        const auto file = entry.path().filename().string();
        available.insert(file.substr(0, file.find('.')));
    }
    for (const auto& entry : symbolIconTable()) {
        EXPECT_TRUE(available.contains(entry.themeIcon)) << entry.themeIcon;
    }
    EXPECT_TRUE(available.contains(themeIconName("no.such.symbol")));
}

TEST(LaunchOptionsTest, ReadsSwitchesAsWholeArgumentsWithTheirPrecedence) {
    using enum DemoScenarioKind;
    using enum AppearanceOverride;
    using Case = std::pair<std::vector<std::string>, LaunchOptions>;
    const LaunchOptions none{std::nullopt, std::nullopt};
    for (const auto& [arguments, options] :
         {Case{{}, none}, Case{{"--demo-ready"}, {ready, std::nullopt}},
          Case{{"--demo-blocked", "--demo-tovoable"}, {tovoable, std::nullopt}},
          Case{{"--demo-ready", "--demo-blocked"}, {blocked, std::nullopt}},
          Case{{"--demo-layered", "--demo-ready"}, {ready, std::nullopt}},
          Case{{"--demo-layered"}, {layered, std::nullopt}}, Case{{"--demo-ready2"}, none},
          Case{{"--demo-dark", "--demo-light"}, {std::nullopt, light}},
          Case{{"--demo-dark", "other", "--demo-ready"}, {ready, dark}}}) {
        EXPECT_EQ(parseLaunchOptions(arguments), options) << ::testing::PrintToString(arguments);
    }
}

TEST(LaunchOptionsArgv, TheProgramPathIsNotASwitch) {
    const char* argv[] = {"--demo-ready", "--demo-blocked"};
    EXPECT_EQ(parseLaunchOptions(2, argv).demoScenario, DemoScenarioKind::blocked);
    EXPECT_FALSE(parseLaunchOptions(1, argv).isDemo());
}

} // namespace
} // namespace tovo
