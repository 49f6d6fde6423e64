#include "TovoSystem/Linux/ProcFileSystem.hpp"
#include "TovoSystemTests/ProcFixture.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::ProcFixture;
using Stat = ProcFileSystem::Stat;

struct StatCase {
    const char* name;
    std::string text;
    std::optional<Stat> expected;
    friend void PrintTo(const StatCase& c, std::ostream* os) { *os << c.name; }
};

class ProcStatParsing : public ::testing::TestWithParam<StatCase> {};

TEST_P(ProcStatParsing, ReadsParentAndStartAfterTheLastParenthesis) {
    EXPECT_EQ(ProcFileSystem::parseStat(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ProcStatParsing,
    ::testing::Values(
        StatCase{"Plain", ProcFixture::statLine(4242, "bash", 300, 987654), Stat{300, 987654}},
        StatCase{"CommandImitatingFields", ProcFixture::statLine(7, "x) S 99 (1) 2 3", 6, 55),
                 Stat{6, 55}},
        StatCase{"NoParenthesis", "4242 bash S 300 1 2 3", std::nullopt},
        StatCase{"CutShort", "4242 (bash) S 300 4242 4242 34816 4242 4194560", std::nullopt},
        StatCase{"ParentNotANumber", "4242 (bash) S x1 4242 4242 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 5",
                 std::nullopt}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace tovo
