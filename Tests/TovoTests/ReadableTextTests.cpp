#include "PresentationTestValues.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/ReadableText.hpp"

namespace tovo {
namespace {

using namespace testing;

struct ReadableCase {
    const char* label;
    std::string lsof; ///< as lsof printed it
    std::string shown;
};

class LsofTextTest : public ::testing::TestWithParam<ReadableCase> {};

// What lsof escaped is shown as a person reads it, never as an escape code.
TEST_P(LsofTextTest, UndoesTheEscapesAndShowsControlsAsSymbols) {
    EXPECT_EQ(ReadableText::fromLsof(GetParam().lsof), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Escapes, LsofTextTest,
    ::testing::Values(ReadableCase{"Plain", "/media/a b/c.txt", "/media/a b/c.txt"},
                      ReadableCase{"Newline", "new\\nline", "new\u23CEline"},
                      ReadableCase{"Tab", "a\\tb", "a\u21E5b"},
                      ReadableCase{"Backslash", "back\\\\slash", "back\\slash"},
                      ReadableCase{"EscapedBackslashBeforeN", "a\\\\nb", "a\\nb"},
                      ReadableCase{"Utf8InBytes", "caf\\xc3\\xa9", "caf\u00E9"},
                      ReadableCase{"NotUtf8", "x\\xff.jpg", "x\uFFFD.jpg"},
                      ReadableCase{"Delete", "a\\x7fb", "a\u2B1Ab"},
                      ReadableCase{"CaretStays", "a^Bc", "a^Bc"},
                      ReadableCase{"UnknownEscapeStays", "a\\qb", "a\\qb"},
                      ReadableCase{"CutEscapeStays", "a\\x4", "a\\x4"}),
    [](const ::testing::TestParamInfo<ReadableCase>& info) { return info.param.label; });

TEST(RawText, ControlsAndDirectionMarksBecomeVisible) {
    EXPECT_EQ(ReadableText::fromRaw("a\x1b[2Jb"), "a\u2B1A[2Jb");
    EXPECT_EQ(ReadableText::fromRaw("gpj.\u202Eexe"), "gpj.\u2B1Aexe");
    EXPECT_EQ(ReadableText::fromRaw("\xff"), "\uFFFD");
    EXPECT_EQ(ReadableText::fromRaw("caf\u00E9 \U0001F600"), "caf\u00E9 \U0001F600");
}

TEST(ReadableRows, TheWindowReadsNamesAndPathsTheMachineReadableOutputKeepsThem) {
    const auto process = processWith("tool\nx", {openFile("/m/new\\nline", "3", OpenAccess::read)});
    const ProcessPresentation readable(nullptr, ProcessPresentation::Names::readable);
    const auto row = blockerRowContent(readable, process, std::nullopt, std::nullopt, std::nullopt);
    EXPECT_EQ(row.name, "tool\u23CEx");
    EXPECT_EQ(row.detailLines, std::vector<std::string>{"/m/new\u23CEline"});
    EXPECT_EQ(ProcessPresentation().name(process), "tool\nx");
}

} // namespace
} // namespace tovo
