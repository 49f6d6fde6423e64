#include "TovoCore/Services/LsofFieldParser.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

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

std::vector<BlockingProcess> parse(const std::string& buffer) {
    return LsofFieldParser{}.parse(buffer);
}

TEST(LsofFieldParserTest, ReadsRealOutputOfATmpfsWithTwoHolders) {
    std::ifstream in(std::string(TOVO_FIXTURES) + "/lsof-tmpfs-two-holders.bin", std::ios::binary);
    ASSERT_TRUE(in) << "missing fixture";
    std::stringstream buffer;
    buffer << in.rdbuf();
    const auto result = parse(buffer.str());
    ASSERT_EQ(result.size(), 2u);
    EXPECT_EQ(result[0].pid, 7752);
    EXPECT_EQ(result[0].parentPID, 7747);
    EXPECT_EQ(result[0].command, "sleep");
    EXPECT_EQ(result[0].userID, 0u);
    EXPECT_EQ(result[0].loginName, "root");
    EXPECT_FALSE(result[0].executablePath);
    EXPECT_FALSE(result[0].isSystemDissent);
    EXPECT_EQ(result[0].openFiles,
              (std::vector<OpenFileReference>{
                  {"/tmp/tovo-cap.6Ke4/My Folder", "cwd", "DIR", OpenAccess::unknown}}));
    EXPECT_EQ(result[1].pid, 7753);
    EXPECT_EQ(result[1].openFiles,
              (std::vector<OpenFileReference>{
                  {"/tmp/tovo-cap.6Ke4/notes (draft).txt", "3", "REG", OpenAccess::write}}));
    EXPECT_TRUE(result[1].hasWritableFiles());
}

TEST(LsofFieldParserTest, ProcessWithoutFilesYieldsNothingAndIsNotMergedLater) {
    EXPECT_TRUE(parse(fields({{"p5", "cidle", "u501"}})).empty());
    const auto result =
        parse(fields({{"p5", "cfirst", "u501"}, {"p5", "csecond"}, {"f1", "n/m/a"}}));
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].command, "second");
    EXPECT_FALSE(result[0].userID);
    EXPECT_FALSE(result[0].parentPID);
}

TEST(LsofFieldParserTest, MissingOrEmptyCommandIsNamedAfterThePid) {
    EXPECT_EQ(parse(fields({{"p77"}, {"f1", "n/m/a"}}))[0].command, "Process 77");
    EXPECT_EQ(parse(fields({{"p78", "c"}, {"f1", "n/m/a"}}))[0].command, "Process 78");
}

TEST(LsofFieldParserTest, RepeatedPidsMergeWithTheFirstRecordWinning) {
    const auto result = parse(fields({{"p9", "cfirst", "u1", "Lone"},
                                      {"f4", "ar", "n/m/b"},
                                      {"p10", "cother"},
                                      {"f1", "n/m/x"},
                                      {"p9", "csecond", "u2", "Ltwo"},
                                      {"f3", "aw", "n/m/a"},
                                      {"f4", "ar", "n/m/b"}}));
    ASSERT_EQ(result.size(), 2u);
    EXPECT_EQ(result[0].pid, 9);
    EXPECT_EQ(result[1].pid, 10);
    EXPECT_EQ(result[0].command, "first");
    EXPECT_EQ(result[0].userID, 1u);
    EXPECT_EQ(result[0].loginName, "one");
    EXPECT_EQ(result[0].openFiles,
              (std::vector<OpenFileReference>{{"/m/a", "3", std::nullopt, OpenAccess::write},
                                              {"/m/b", "4", std::nullopt, OpenAccess::read}}));
}

TEST(LsofFieldParserTest, BadPidDropsItsSetButFinishesThePrevious) {
    const auto result =
        parse(fields({{"p1", "cgood"}, {"f1", "n/m/a"}, {"p12x", "cbad"}, {"f2", "n/m/b"}}));
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].command, "good");
    EXPECT_EQ(result[0].openFiles.size(), 1u);
}

class PidFieldTest
    : public ::testing::TestWithParam<std::pair<std::string, std::optional<std::int32_t>>> {};

TEST_P(PidFieldTest, ReadsSignedDecimalInRange) {
    const auto result = parse(fields({{"p" + GetParam().first}, {"f1", "n/m/a"}}));
    ASSERT_EQ(result.size(), GetParam().second ? 1u : 0u);
    if (GetParam().second) {
        EXPECT_EQ(result[0].pid, *GetParam().second);
    }
}

using Pid = std::optional<std::int32_t>;

INSTANTIATE_TEST_SUITE_P(Values, PidFieldTest,
                         ::testing::Values(std::pair("42"s, Pid(42)), std::pair("+42"s, Pid(42)),
                                           std::pair("-3"s, Pid(-3)),
                                           std::pair("2147483647"s, Pid(2147483647)),
                                           std::pair("-2147483648"s, Pid(-2147483647 - 1)),
                                           std::pair("2147483648"s, Pid()), std::pair(""s, Pid()),
                                           std::pair("+"s, Pid()), std::pair(" 4"s, Pid()),
                                           std::pair("4 "s, Pid()),
                                           std::pair("99999999999999999999"s, Pid())));

TEST(LsofFieldParserTest, NumericFieldsThatAreNotNumbersAreAbsent) {
    const auto p = parse(fields({{"p1", "Rx", "u-1"}, {"f1", "n/m/a"}}))[0];
    EXPECT_FALSE(p.parentPID);
    EXPECT_FALSE(p.userID);
    EXPECT_EQ(parse(fields({{"p1", "u4294967295"}, {"f1", "n/m/a"}}))[0].userID, 4294967295u);
    EXPECT_FALSE(parse(fields({{"p1", "u4294967296"}, {"f1", "n/m/a"}}))[0].userID);
}

TEST(LsofFieldParserTest, FileSetStateCarriesOverAndResetsPerSet) {
    const auto files = parse(fields({{"p1"},
                                     {"n/m/before"},
                                     {"f3", "tREG", "au", "n/m/one", "n/m/two"},
                                     {"f4", "n/m/three"}}))[0]
                           .openFiles;
    EXPECT_EQ(files, (std::vector<OpenFileReference>{
                         {"/m/before", std::nullopt, std::nullopt, OpenAccess::unknown},
                         {"/m/one", "3", "REG", OpenAccess::readWrite},
                         {"/m/two", "3", "REG", OpenAccess::readWrite},
                         {"/m/three", "4", std::nullopt, OpenAccess::unknown}}));
}

TEST(LsofFieldParserTest, UnknownLettersAndFieldsBeforeTheFirstProcessAreIgnored) {
    const auto result = parse(
        fields({{"cstray", "f9", "n/m/stray"}, {"p3", "g77", "Kx", "s1024"}, {"f1", "n/m/a"}}));
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].command, "Process 3");
    EXPECT_EQ(result[0].openFiles.size(), 1u);
}

TEST(LsofFieldParserTest, LineBreaksAroundFieldsAreNotPartOfThem) {
    const auto result = parse("\r\n\n\0p1\0\n\r\ncname\r\0\n\0f1\0n/m/a\0\n\n"s);
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].command, "name\r"); // trailing bytes are kept
}

TEST(LsofFieldParserTest, WithoutNulsTheWholeBufferIsOneField) {
    EXPECT_TRUE(parse("p1\ncname\nf1\nn/m/a\n").empty());
    EXPECT_TRUE(parse("n/m/a\np1\n"s + '\0').empty());
}

TEST(LsofFieldParserTest, InvalidUtf8IsReplacedNotRejected) {
    const auto result = parse(fields({{"p1", "c\xFF\xFEtool"}, {"f1", "n/m/\xC3(\xE2\x82"}}));
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].command, "\uFFFD\uFFFDtool");
    EXPECT_EQ(result[0].openFiles[0].path, "/m/\uFFFD(\uFFFD");
}

TEST(LsofFieldParserTest, HostileBuffersNeverFail) {
    EXPECT_TRUE(parse("").empty());
    EXPECT_TRUE(parse("\0\0\0\n\n"s).empty());
    EXPECT_TRUE(parse("p"s).empty());
    const std::string huge(1 << 20, 'n');
    const auto result = parse(fields({{"p1"}}) + huge);
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result[0].openFiles[0].path.size(), huge.size() - 1);
    std::string noise;
    for (int i = 0; i < 4096; ++i) {
        noise.push_back(static_cast<char>((i * 37) % 256));
    }
    (void)parse(noise);
}

} // namespace
} // namespace tovo
