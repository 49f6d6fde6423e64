#include "TovoCore/Services/LsofFieldParser.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace tovo {
namespace {

using namespace std::string_literals;

// Builds lsof field output: each field NUL-terminated, a line feed after each set.
std::string fields(std::initializer_list<std::initializer_list<std::string>> sets) {
    std::string out;
    for (const auto& set : sets) {
        for (const auto& field : set) {
            out += field + '\0';
        }
        out.push_back('\n');
    }
    return out;
}

template<class T>
std::string text(const std::optional<T>& value) {
    return value ? std::to_string(*value) : "-";
}
std::string text(const std::optional<std::string>& value) {
    return value.value_or("-");
}

// One line per process: "pid command user parent login | path fd type access, ...".
std::string describe(const std::string& buffer) {
    std::string out;
    for (const auto& p : LsofFieldParser{}.parse(buffer)) {
        out += std::to_string(p.pid) + " " + p.command + " " + text(p.userID) + " " +
               text(p.parentPID) + " " + text(p.loginName) + " |";
        for (const auto& f : p.openFiles) {
            out += " " + f.path + " " + text(f.descriptor) + " " + text(f.fileType) + " " +
                   std::string(rawValue(f.access)) + ",";
        }
        out += "\n";
    }
    return out;
}

TEST(LsofFieldParserTest, ReadsRealOutputOfATmpfsWithTwoHolders) {
    std::ifstream in(std::string(TOVO_FIXTURES) + "/lsof-tmpfs-two-holders.bin", std::ios::binary);
    ASSERT_TRUE(in) << "missing fixture";
    EXPECT_EQ(describe({std::istreambuf_iterator<char>(in), {}}),
              "7752 sleep 0 7747 root | /tmp/tovo-cap.6Ke4/My Folder cwd DIR unknown,\n"
              "7753 sleep 0 7747 root | /tmp/tovo-cap.6Ke4/notes (draft).txt 3 REG write,\n");
}

struct ParseCase {
    const char* label;
    std::string buffer;
    std::string expected;
};

class LsofFieldParserTableTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(LsofFieldParserTableTest, Parses) {
    EXPECT_EQ(describe(GetParam().buffer), GetParam().expected);
}

const std::string oneFile = fields({{"f1", "n/m/a"}});

INSTANTIATE_TEST_SUITE_P(
    Buffers, LsofFieldParserTableTest,
    ::testing::Values(
        // A set without files is not merged into a later one of the same pid.
        ParseCase{"laterSetOfTheSamePid",
                  fields({{"p5", "cfirst", "u501"}, {"p5", "csecond"}}) + oneFile,
                  "5 second - - - | /m/a 1 - unknown,\n"},
        ParseCase{"repeatedPidsMergeFirstWins",
                  fields({{"p9", "cfirst", "u1", "Lone"},
                          {"f4", "ar", "n/m/b"},
                          {"p10", "cother"},
                          {"f1", "n/m/x"},
                          {"p9", "csecond", "u2", "Ltwo"},
                          {"f3", "aw", "n/m/a"},
                          {"f4", "ar", "n/m/b"}}),
                  "9 first 1 - one | /m/a 3 - write, /m/b 4 - read,\n"
                  "10 other - - - | /m/x 1 - unknown,\n"},
        // A missing or empty command falls back to the pid.
        ParseCase{"pidRange",
                  fields({{"p+42"}}) + oneFile + fields({{"p-3"}}) + oneFile +
                      fields({{"p2147483647", "c"}}) + oneFile + fields({{"p-2147483648", "cx"}}) +
                      oneFile,
                  "42 Process 42 - - - | /m/a 1 - unknown,\n-3 Process -3 - - - | /m/a 1 - "
                  "unknown,\n2147483647 Process 2147483647 - - - | /m/a 1 - unknown,\n"
                  "-2147483648 x - - - | /m/a 1 - unknown,\n"},
        // Each bad pid drops its own set only.
        ParseCase{"badPids",
                  fields({{"p2147483648"}}) + oneFile + fields({{"p99999999999999999999"}}) +
                      oneFile + fields({{"p"}}) + oneFile + fields({{"p+"}}) + oneFile +
                      fields({{"p4 "}}) + oneFile + fields({{"p1", "cgood"}}) + oneFile,
                  "1 good - - - | /m/a 1 - unknown,\n"},
        ParseCase{"numbersThatAreNot", fields({{"p1", "cx", "Rx", "u-1"}}) + oneFile,
                  "1 x - - - | /m/a 1 - unknown,\n"},
        ParseCase{"largestUser", fields({{"p1", "cx", "u4294967295", "R7"}}) + oneFile,
                  "1 x 4294967295 7 - | /m/a 1 - unknown,\n"},
        ParseCase{"userOverflow", fields({{"p1", "cx", "u4294967296"}}) + oneFile,
                  "1 x - - - | /m/a 1 - unknown,\n"},
        // A file set's fields carry over to each name in it, and reset with the next set.
        ParseCase{"fileSetState",
                  fields({{"p1", "cx"},
                          {"n/m/before"},
                          {"f3", "tREG", "au", "n/m/one", "n/m/two"},
                          {"f4", "n/m/three"}}),
                  "1 x - - - | /m/before - - unknown, /m/one 3 REG readWrite, /m/two 3 REG "
                  "readWrite, /m/three 4 - unknown,\n"},
        ParseCase{"strayFieldsAndUnknownLetters",
                  fields({{"cstray", "f9", "n/m/stray"}, {"p3", "g77", "Kx", "s1024"}}) + oneFile,
                  "3 Process 3 - - - | /m/a 1 - unknown,\n"},
        // Line breaks around fields are not part of them; trailing bytes are kept.
        ParseCase{"lineBreaks", "\r\n\n\0p1\0\n\r\ncname\r\0\n\0f1\0n/m/a\0\n\n"s,
                  "1 name\r - - - | /m/a 1 - unknown,\n"},
        ParseCase{"withoutNulsOneField", "p1\ncname\nf1\nn/m/a\n", ""},
        ParseCase{"invalidUtf8Replaced",
                  fields({{"p1", "c\xFF\xFEtool"}, {"f1", "n/m/\xC3(\xE2\x82"}}),
                  "1 \uFFFD\uFFFDtool - - - | /m/\uFFFD(\uFFFD 1 - unknown,\n"},
        ParseCase{"onlySeparators", "\0\0\0\n\n"s, ""}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(LsofFieldParserTest, AHugeNameIsKeptWhole) {
    const std::string huge(1 << 20, 'n');
    const auto result = LsofFieldParser{}.parse(fields({{"p1"}}) + huge);
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].openFiles[0].path.size(), huge.size() - 1);
}

} // namespace
} // namespace tovo
