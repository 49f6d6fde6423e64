#include "Support/ModelBuilders.hpp"
#include "Tovo/Support/ByteCountFormat.hpp"
#include "Tovo/Support/DiskCardPresentation.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tovo {
namespace {

using namespace DiskCardPresentation;

using Bytes = std::pair<std::int64_t, std::string>;

class ByteCountTest : public ::testing::TestWithParam<Bytes> {};

TEST_P(ByteCountTest, PrintsDecimalUnitsLikeAFileBrowser) {
    EXPECT_EQ(formatByteCount(GetParam().first), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, ByteCountTest,
    ::testing::Values(Bytes{0, "0 bytes"}, Bytes{1, "1 byte"}, Bytes{999, "999 bytes"},
                      Bytes{1000, "1 kB"}, Bytes{1499, "1 kB"}, Bytes{1500, "2 kB"},
                      Bytes{999'499, "999 kB"}, Bytes{999'500, "1 MB"},
                      Bytes{12'345'678, "12.3 MB"}, Bytes{12'000'000, "12 MB"},
                      Bytes{999'960'000, "1 GB"}, Bytes{1'234'567'890, "1.23 GB"},
                      Bytes{2'005'000'000'000, "2.01 TB"}, Bytes{-2'500, "-3 kB"},
                      Bytes{std::numeric_limits<std::int64_t>::min(), "-9.22 EB"}));

TEST(DiskCardDetail, JoinsAKnownSizeAndFormatWithAMiddleDot) {
    auto disk = testing::makeDisk(1);
    disk.physicalCapacity = std::nullopt;
    disk.volumes.front().totalCapacity = 64'000'000'000;
    disk.volumes.front().formatDescription = "ext4";
    EXPECT_EQ(detailText(disk), "64 GB \u00B7 ext4");
    disk.volumes.front().totalCapacity = std::nullopt;
    EXPECT_EQ(detailText(disk), "ext4");
    disk.volumes.front().formatDescription = std::nullopt;
    EXPECT_EQ(detailText(disk), "External disk");
}

TEST(DiskSelector, CountLabelAndColumns) {
    EXPECT_EQ(diskCountAccessibilityLabel(1), "One connected external disk");
    EXPECT_EQ(diskCountAccessibilityLabel(2), "2 connected external disks");
    EXPECT_EQ(gridColumns(1), (GridColumns{1, 10, 10}));
    EXPECT_EQ(gridColumns(2), (GridColumns{2, 176, 10}));
}

struct TooltipCase {
    bool selected;
    bool elided;
    std::string tooltip;
};

class CardTooltipTest : public ::testing::TestWithParam<TooltipCase> {};

// A card that had to shorten its name gives the whole name on hover.
TEST_P(CardTooltipTest, GivesTheWholeNameWhenCutAndSaysWhichDiskIsSelected) {
    const auto& c = GetParam();
    EXPECT_EQ(DiskCardPresentation::cardTooltip("Photo Archive", c.selected, c.elided), c.tooltip);
}

INSTANTIATE_TEST_SUITE_P(
    States, CardTooltipTest,
    ::testing::Values(TooltipCase{false, false, ""}, TooltipCase{true, false, "Selected disk"},
                      TooltipCase{false, true, "Photo Archive"},
                      TooltipCase{true, true, "Photo Archive\nSelected disk"}));

TEST(DiskCardMark, DimmedCardKeepsItsMarkOutOfTheAccent) {
    EXPECT_EQ(DiskCardPresentation::selectionSymbolColor(true), SymbolColor::accent);
    EXPECT_EQ(DiskCardPresentation::selectionSymbolColor(true, false), SymbolColor::secondary);
}

} // namespace
} // namespace tovo
