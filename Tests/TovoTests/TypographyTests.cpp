#include "Tovo/Support/Typography.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

struct ElideCase {
    const char* label;
    std::string text;
    std::size_t limit;
    std::string shown;
};

class ElideTest : public ::testing::TestWithParam<ElideCase> {};

TEST_P(ElideTest, CutsToTheLimitWithAnEllipsisNeverInsideACharacter) {
    EXPECT_EQ(elided(GetParam().text, GetParam().limit), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ElideTest,
    ::testing::Values(ElideCase{"Fits", "345-BACKUP", 20, "345-BACKUP"},
                      ElideCase{"ExactlyFits", "abcde", 5, "abcde"},
                      ElideCase{"Cut", "abcdef", 5, "abcd\u2026"},
                      ElideCase{"CountsCharactersNotBytes", "\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9",
                                4, "\u00E9\u00E9\u00E9\u2026"},
                      ElideCase{"NeverSplitsAnEmoji", "ab\U0001F600\U0001F600\U0001F600", 4,
                                "ab\U0001F600\u2026"},
                      ElideCase{"NoBlankBeforeTheEllipsis", "abc defgh", 5, "abc\u2026"},
                      ElideCase{"Nothing", "abc", 0, ""}),
    [](const ::testing::TestParamInfo<ElideCase>& info) { return info.param.label; });

} // namespace
} // namespace tovo
