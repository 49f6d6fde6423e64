#include "Support/ModelBuilders.hpp"
#include "Tovo/Support/ByteCountFormat.hpp"
#include "Tovo/Support/DiskCardPresentation.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tovo {
namespace {

using namespace DiskCardPresentation;

struct BytesCase {
    std::int64_t bytes;
    std::string text;
    friend void PrintTo(const BytesCase& c, std::ostream* os) { *os << c.bytes; }
};

class ByteCountTest : public ::testing::TestWithParam<BytesCase> {};

TEST_P(ByteCountTest, PrintsDecimalUnitsLikeAFileBrowser) {
    EXPECT_EQ(formatByteCount(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, ByteCountTest,
    ::testing::Values(BytesCase{0, "0 bytes"}, BytesCase{1, "1 byte"}, BytesCase{999, "999 bytes"},
                      BytesCase{1000, "1 kB"}, BytesCase{1499, "1 kB"}, BytesCase{1500, "2 kB"},
                      BytesCase{999'499, "999 kB"}, BytesCase{999'500, "1 MB"},
                      BytesCase{12'345'678, "12.3 MB"}, BytesCase{12'000'000, "12 MB"},
                      BytesCase{999'960'000, "1 GB"}, BytesCase{1'234'567'890, "1.23 GB"},
                      BytesCase{1'500'000'000, "1.5 GB"}, BytesCase{428'000'000'000, "428 GB"},
                      BytesCase{1'000'000'000'000, "1 TB"}, BytesCase{2'005'000'000'000, "2.01 TB"},
                      BytesCase{-2'500, "-3 kB"},
                      BytesCase{std::numeric_limits<std::int64_t>::max(), "9.22 EB"},
                      BytesCase{std::numeric_limits<std::int64_t>::min(), "-9.22 EB"}));

ExternalDisk diskWith(std::optional<std::int64_t> physical, std::optional<std::int64_t> volumeSize,
                      std::optional<std::string> format) {
    auto disk = testing::makeDisk(1);
    disk.physicalCapacity = physical;
    disk.volumes.front().totalCapacity = volumeSize;
    disk.volumes.front().formatDescription = std::move(format);
    return disk;
}

TEST(DiskCardDetail, JoinsSizeAndFormatWithAMiddleDot) {
    EXPECT_EQ(detailText(diskWith(1'000'000'000'000, 5, "APFS")), "1 TB \u00B7 APFS");
    EXPECT_EQ(detailText(diskWith(std::nullopt, 64'000'000'000, "ext4")), "64 GB \u00B7 ext4");
}

TEST(DiskCardDetail, LeavesOutAnUnknownSize) {
    EXPECT_EQ(detailText(diskWith(std::nullopt, std::nullopt, "ext4")), "ext4");
    EXPECT_EQ(detailText(diskWith(std::nullopt, std::nullopt, std::nullopt)), "External disk");
}

TEST(DiskSelector, CountLabelAndColumns) {
    EXPECT_EQ(diskCountAccessibilityLabel(1), "One connected external disk");
    EXPECT_EQ(diskCountAccessibilityLabel(0), "0 connected external disks");
    EXPECT_EQ(diskCountAccessibilityLabel(3), "3 connected external disks");
    EXPECT_EQ(gridColumns(1), (GridColumns{1, 10, 10}));
    EXPECT_EQ(gridColumns(2), (GridColumns{2, 176, 10}));
    EXPECT_EQ(gridColumns(3), (GridColumns{2, 176, 10}));
}

TEST(DiskSelector, SelectionMark) {
    EXPECT_EQ(selectionSymbol(true), "checkmark.circle.fill");
    EXPECT_EQ(selectionSymbolColor(true), SymbolColor::accent);
    EXPECT_EQ(selectionSymbol(false), "circle");
    EXPECT_EQ(selectionSymbolColor(false), SymbolColor::secondary);
}

} // namespace
} // namespace tovo
