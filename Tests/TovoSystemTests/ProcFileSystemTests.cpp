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
        StatCase{"SpacesAndParentheses", ProcFixture::statLine(7, "my (odd) ) name", 6, 55),
                 Stat{6, 55}},
        StatCase{"CommandImitatingFields", ProcFixture::statLine(7, "x) S 99 1 2 3", 6, 55),
                 Stat{6, 55}},
        StatCase{"NoParenthesis", "4242 bash S 300 1 2 3", std::nullopt},
        StatCase{"CutShort", "4242 (bash) S 300 4242 4242 34816 4242 4194560", std::nullopt},
        StatCase{"ParentNotANumber", "4242 (bash) S x1 4242 4242 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 5",
                 std::nullopt},
        StatCase{"Empty", "", std::nullopt}),
    [](const auto& info) { return info.param.name; });

struct NumberCase {
    const char* name;
    std::string text;
    std::optional<std::uint64_t> expected;
    friend void PrintTo(const NumberCase& c, std::ostream* os) { *os << c.name; }
};

class ProcRealUserParsing : public ::testing::TestWithParam<NumberCase> {};

TEST_P(ProcRealUserParsing, TakesTheFirstUidColumn) {
    const auto parsed = ProcFileSystem::parseRealUserID(GetParam().text);
    EXPECT_EQ(parsed ? std::optional<std::uint64_t>(*parsed) : std::nullopt, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Status, ProcRealUserParsing,
    ::testing::Values(NumberCase{"RealNotEffective", "Name:\tx\nUid:\t1000\t0\t0\t0\n", 1000},
                      NumberCase{"Root", "Uid:\t0\t0\t0\t0\nGid:\t0\t0\t0\t0\n", 0},
                      NumberCase{"Missing", "Name:\tx\nGid:\t0\t0\t0\t0\n", std::nullopt},
                      NumberCase{"Garbage", "Uid:\tabc\t0\n", std::nullopt},
                      NumberCase{"OutOfRange", "Uid:\t4294967296\t0\n", std::nullopt}),
    [](const auto& info) { return info.param.name; });

class ProcBootTimeParsing : public ::testing::TestWithParam<NumberCase> {};

TEST_P(ProcBootTimeParsing, ReadsTheBtimeLine) {
    EXPECT_EQ(ProcFileSystem::parseBootTime(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Stat, ProcBootTimeParsing,
    ::testing::Values(NumberCase{"Present", "cpu 1 2\nbtime 1700000000\nprocesses 3\n", 1700000000},
                      NumberCase{"LastLineWithoutBreak", "cpu 1\nbtime 42", 42},
                      NumberCase{"Missing", "cpu 1 2\nprocesses 3\n", std::nullopt},
                      NumberCase{"Garbage", "btime soon\n", std::nullopt}),
    [](const auto& info) { return info.param.name; });

TEST(ProcFileSystem, StartTimeIsBootTimePlusTicksAsSecondsAndMicroseconds) {
    ProcFixture fixture;
    const ProcFileSystem proc(fixture.root(), 100);
    EXPECT_EQ(proc.startTime(123'456), (ProcessStartTime{ProcFixture::bootTime + 1234, 560'000}));
    EXPECT_EQ(ProcFileSystem(fixture.root(), 250).startTime(1001),
              (ProcessStartTime{ProcFixture::bootTime + 4, 4'000}));
}

} // namespace
} // namespace tovo
