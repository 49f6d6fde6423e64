#include "TovoSystem/Linux/MountInfo.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

struct DecodeCase {
    const char* label;
    std::string field;
    std::string expected;
};

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

class MountInfoDecodeTest : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(MountInfoDecodeTest, UndoesKernelEscapes) {
    EXPECT_EQ(MountInfo::decode(GetParam().field), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, MountInfoDecodeTest,
    ::testing::Values(DecodeCase{"space_tab_newline", "/m/My\\040a\\011b\\012c", "/m/My a\tb\nc"},
                      DecodeCase{"escaped_backslash_before_digits", "/m/\\134040", "/m/\\040"},
                      DecodeCase{"lone_backslash_kept", "/m/a\\b", "/m/a\\b"},
                      DecodeCase{"short_escape_at_end_kept", "/m/x\\04", "/m/x\\04"},
                      DecodeCase{"non_octal_digit_kept", "/m/\\089", "/m/\\089"},
                      DecodeCase{"value_above_a_byte_kept", "/m/\\777", "/m/\\777"},
                      DecodeCase{"raw_invalid_utf8_bytes_pass", "/m/\xff\xfe", "/m/\xff\xfe"},
                      DecodeCase{"escaped_high_byte", "/m/\\303\\251", "/m/\xc3\xa9"},
                      DecodeCase{"four_thousand_bytes", repeated("/abcde\\040\\134", 500),
                                 repeated("/abcde \\", 500)}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(MountInfoParseTest, ReadsEveryFieldAroundTheOptionalOnes) {
    const auto entries = MountInfo::parse(
        "36 35 98:0 /mnt1 /mnt\\0402 rw,noatime master:1 shared:7 - ext3 /dev/root "
        "rw,errors=remount-ro\n"
        "37 35 8:17 / /media/u/USB ro,nosuid - vfat /dev/sdb1 rw,fmask=0022\n"
        "38 35 8:18 / /media/u/B rw - vfat /dev/sdb2 ro\n");
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0], (MountEntry{36, 35, 98, 0, "/mnt1", "/mnt 2", "rw,noatime", "ext3",
                                      "/dev/root", "rw,errors=remount-ro"}));
    EXPECT_FALSE(entries[0].isReadOnly());
    EXPECT_TRUE(entries[1].isReadOnly());
    EXPECT_TRUE(entries[2].isReadOnly()) << "from either option list";
}

TEST(MountInfoParseTest, SkipsMalformedLinesAndKeepsTheRest) {
    const auto entries = MountInfo::parse("\ngarbage\n"
                                          "x 1 8:1 / /a rw - ext4 /dev/a rw\n"
                                          "1 1 8 / /b rw - ext4 /dev/b rw\n"
                                          "1 1 8:1 / /c rw shared:1\n"
                                          "1 1 8:1 / /d rw - ext4\n"
                                          "5 1 8:1 / /ok rw - ext4 /dev/ok rw");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].mountPoint, "/ok");
}

} // namespace
} // namespace tovo
