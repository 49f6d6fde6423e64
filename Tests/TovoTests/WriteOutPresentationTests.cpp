#include "PresentationTestValues.hpp"
#include "Tovo/Support/WriteOutPresentation.hpp"

namespace tovo {
namespace {

using namespace testing;

const auto disk = makeDisk(3, "345-BACKUP");
const auto diskScope = WriteOutScope::disk;
const auto systemScope = WriteOutScope::system;
const std::string dontUnplug = "Do not unplug “345-BACKUP” yet.";

WriteOutProgress writing(std::optional<std::uint64_t> left, WriteOutScope scope,
                         std::optional<std::uint64_t> rate) {
    return {{true, left, scope, rate}, true};
}

WriteOutProgress paused(std::optional<std::uint64_t> left, WriteOutScope scope) {
    return {{false, left, scope, 0}, true};
}

struct NoticeCase {
    const char* label;
    EjectionPhase phase;
    std::optional<WriteOutProgress> progress;
    std::optional<WriteOutNotice> expected;
};

class WriteOutNoticeTest : public ::testing::TestWithParam<NoticeCase> {};

TEST_P(WriteOutNoticeTest, SaysWhatIsLeftOnlyWhileTheEjectRuns) {
    const auto& param = GetParam();
    EXPECT_EQ(WriteOutPresentation::notice(param.phase, disk, param.progress), param.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WriteOutNoticeTest,
    ::testing::Values(
        NoticeCase{"noSampleYet", EjectionPhase::ejecting(), std::nullopt, std::nullopt},
        NoticeCase{"nothingWrittenThisEject", EjectionPhase::ejecting(),
                   WriteOutProgress{{false, 0, diskScope, 0}, false}, std::nullopt},
        NoticeCase{"diskAmountAndRate", EjectionPhase::ejecting(),
                   writing(312'000'000, diskScope, 8'200'000),
                   WriteOutNotice{"Writing data to “345-BACKUP”",
                                  "312 MB left to write to this disk, at 8.2 MB/s.", dontUnplug}},
        NoticeCase{"firstSampleHasNoRate", EjectionPhase::retrying(),
                   writing(312'000'000, diskScope, std::nullopt),
                   WriteOutNotice{"Writing data to “345-BACKUP”",
                                  "312 MB left to write to this disk.", dontUnplug}},
        NoticeCase{"systemTotalIsSaidToBeOne", EjectionPhase::ejecting(),
                   writing(1'500'000'000, systemScope, 8'200'000),
                   WriteOutNotice{"Writing data to “345-BACKUP”",
                                  "1.5 GB still to be written by the system, for all disks "
                                  "together. This disk is written at 8.2 MB/s.",
                                  dontUnplug}},
        NoticeCase{"nothingKnown", EjectionPhase::ejecting(),
                   writing(std::nullopt, systemScope, std::nullopt),
                   WriteOutNotice{"Writing data to “345-BACKUP”",
                                  "Data is still on its way to this disk.", dontUnplug}},
        NoticeCase{"allWrittenButNotAnswered", EjectionPhase::ejecting(), paused(0, diskScope),
                   WriteOutNotice{"Finishing the eject",
                                  "All data for this disk is written. The system is finishing "
                                  "the eject.",
                                  dontUnplug}},
        NoticeCase{"pausedSystemWide", EjectionPhase::retrying(), paused(40'000'000, systemScope),
                   WriteOutNotice{"Finishing the eject",
                                  "The disk is not being written right now. The system is "
                                  "finishing the eject.",
                                  dontUnplug}},
        NoticeCase{"endsWhenTheSystemAnswered", EjectionPhase::ejected("345-BACKUP"),
                   writing(1'000, diskScope, 1'000), std::nullopt},
        NoticeCase{"notDuringDiagnosis", EjectionPhase::diagnosing(),
                   writing(1'000, diskScope, 1'000), std::nullopt}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(WriteOutAnnouncementTest, SpeaksOnceWhenWritingIsFirstShown) {
    const auto shown = WriteOutPresentation::notice(EjectionPhase::ejecting(), disk,
                                                    writing(1'000, diskScope, std::nullopt));
    ASSERT_TRUE(shown);
    EXPECT_EQ(WriteOutPresentation::announcement(std::nullopt, shown, disk),
              "Still writing data to 345-BACKUP. Do not unplug it yet.");
    EXPECT_EQ(WriteOutPresentation::announcement(shown, shown, disk), std::nullopt);
    EXPECT_EQ(WriteOutPresentation::announcement(shown, std::nullopt, disk), std::nullopt);
}

struct CloseCase {
    const char* label;
    EjectionPhase phase;
    std::optional<WriteOutProgress> progress;
    std::optional<std::string> text; ///< none: the window closes without asking
};

class CloseQuestionTest : public ::testing::TestWithParam<CloseCase> {};

TEST_P(CloseQuestionTest, AsksOnlyDuringAnEject) {
    const auto& param = GetParam();
    const auto question = WriteOutPresentation::closeQuestion(param.phase, disk, param.progress);
    EXPECT_EQ(question ? std::optional(question->text) : std::nullopt, param.text);
    if (question) {
        EXPECT_EQ(question->stayTitle, "Keep Waiting");
        EXPECT_EQ(question->quitTitle, "Quit Anyway");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CloseQuestionTest,
    ::testing::Values(
        CloseCase{"whileWriting", EjectionPhase::ejecting(), writing(1'000, diskScope, 1'000),
                  "“345-BACKUP” is still being written."},
        CloseCase{"whileRetryingWithoutWrites", EjectionPhase::retrying(), paused(0, diskScope),
                  "Tovo is still ejecting “345-BACKUP”."},
        CloseCase{"beforeTheFirstSample", EjectionPhase::ejecting(), std::nullopt,
                  "Tovo is still ejecting “345-BACKUP”."},
        CloseCase{"afterTheEject", EjectionPhase::ejected("345-BACKUP"), std::nullopt,
                  std::nullopt},
        CloseCase{"whileBlocked", EjectionPhase::blocked(), std::nullopt, std::nullopt},
        CloseCase{"whenReady", EjectionPhase::ready(), std::nullopt, std::nullopt}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo
