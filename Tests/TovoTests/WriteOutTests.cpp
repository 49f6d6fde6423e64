#include "PresentationTestValues.hpp"
#include "Support/FakeWriteOutMonitor.hpp"
#include "Tovo/Support/WriteOutPresentation.hpp"
#include "Tovo/Support/WriteOutWatch.hpp"

namespace tovo {
namespace {

using namespace testing;
using enum WriteOutScope;

constexpr std::uint64_t MB = 1'000'000;
const auto backupDisk = makeDisk(3, "345-BACKUP");
const WriteOutSample first{true, 300 * MB, disk, std::nullopt};
const WriteOutSample writing{true, 292 * MB, disk, 8 * MB};
const WriteOutSample written{false, 0, disk, 0};

struct WatchScene {
    WatchScene() {
        watch.setChangeHandler([this] { ++changes; });
    }
    // A watch still sampling is cancelled; its task ends once the executor runs.
    ~WatchScene() {
        watch.follow(EjectionPhase::ready(), backupDisk);
        executor.runAll();
    }

    void follow(const EjectionPhase& phase) {
        watch.follow(phase, backupDisk);
        executor.runAll();
    }
    void pass(std::chrono::nanoseconds time) {
        clock.advance(time);
        executor.runAll();
    }

    ManualExecutor executor;
    VirtualClock clock{executor};
    FakeWriteOutMonitor monitor{executor};
    WriteOutWatch watch{monitor, clock, executor};
    int changes = 0;
};

// The first sample only starts the rate; one a second follows while the eject runs.
TEST(WriteOutWatchTest, SamplesEverySecondOfAnEjectAndForgetsItAfterwards) {
    WatchScene scene;
    scene.monitor.samples.enqueueValue(first);
    scene.monitor.samples.enqueueValue(writing);
    scene.monitor.samples.setValue(written);

    scene.follow(EjectionPhase::ejecting());
    EXPECT_EQ(scene.monitor.samples.callCount(), 1u);
    EXPECT_EQ(scene.watch.progress(), std::nullopt);

    scene.pass(WriteOutWatch::interval);
    EXPECT_EQ(scene.watch.progress(), (WriteOutProgress{writing, true}));
    scene.follow(EjectionPhase::ejecting()); // the same eject: nothing starts again
    scene.pass(WriteOutWatch::interval);
    // Written out, but udisks2 has not answered: it was written, and that stays known.
    EXPECT_EQ(scene.watch.progress(), (WriteOutProgress{written, true}));
    EXPECT_EQ(scene.monitor.samples.callCount(), 3u);
    EXPECT_EQ(scene.changes, 2);

    scene.follow(EjectionPhase::ejected("345-BACKUP"));
    EXPECT_EQ(scene.watch.progress(), std::nullopt);
    EXPECT_EQ(scene.clock.sleeperCount(), 0u);
    scene.pass(WriteOutWatch::interval * 10);
    EXPECT_EQ(scene.monitor.samples.callCount(), 3u);
}

TEST(WriteOutWatchTest, ARetriedEjectStartsAfresh) {
    WatchScene scene;
    scene.monitor.samples.setValue(writing);
    scene.follow(EjectionPhase::ejecting());
    scene.pass(WriteOutWatch::interval);
    ASSERT_TRUE(scene.watch.progress());

    scene.follow(EjectionPhase::diagnosing());
    scene.follow(EjectionPhase::retrying());
    EXPECT_EQ(scene.watch.progress(), std::nullopt);
    EXPECT_EQ(scene.monitor.samples.callCount(), 3u) << "a new first sample";
    scene.monitor.samples.setValue(written);
    scene.pass(WriteOutWatch::interval);
    EXPECT_EQ(scene.watch.progress(), (WriteOutProgress{written, false}));
}

// A sample taken on a worker thread may arrive after its eject ended.
TEST(WriteOutWatchTest, ALateSampleOfAnEndedEjectIsDropped) {
    WatchScene scene;
    scene.monitor.samples.enqueueValue(first);
    scene.follow(EjectionPhase::ejecting());
    scene.clock.advance(WriteOutWatch::interval);
    scene.executor.runAll(); // the second sample is under way
    scene.monitor.samples.resolve(writing);
    scene.watch.follow(EjectionPhase::ready(), backupDisk);
    scene.executor.runAll();

    EXPECT_EQ(scene.watch.progress(), std::nullopt);
    EXPECT_EQ(scene.changes, 0);
}

const std::string dontUnplug = "Do not unplug “345-BACKUP” yet.";

WriteOutProgress writingAt(std::optional<std::uint64_t> left, WriteOutScope scope,
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
    EXPECT_EQ(WriteOutPresentation::notice(param.phase, backupDisk, param.progress),
              param.expected);
}

// Every notice warns not to unplug; the title says whether data is still moving.
WriteOutNotice writingNotice(std::string detail) {
    return {"Writing data to “345-BACKUP”", std::move(detail), dontUnplug};
}
WriteOutNotice finishingNotice(std::string detail) {
    return {"Finishing the eject", std::move(detail) + " The system is finishing the eject.",
            dontUnplug};
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WriteOutNoticeTest,
    ::testing::Values(
        NoticeCase{"noSampleYet", EjectionPhase::ejecting(), std::nullopt, std::nullopt},
        NoticeCase{"nothingWrittenThisEject", EjectionPhase::ejecting(),
                   WriteOutProgress{{false, 0, disk, 0}, false}, std::nullopt},
        NoticeCase{"diskAmountAndRate", EjectionPhase::ejecting(),
                   writingAt(312'000'000, disk, 8'200'000),
                   writingNotice("312 MB left to write to this disk, at 8.2 MB/s.")},
        NoticeCase{"firstSampleHasNoRate", EjectionPhase::retrying(),
                   writingAt(312'000'000, disk, std::nullopt),
                   writingNotice("312 MB left to write to this disk.")},
        NoticeCase{"systemTotalIsSaidToBeOne", EjectionPhase::ejecting(),
                   writingAt(1'500'000'000, system, 8'200'000),
                   writingNotice("1.5 GB still to be written by the system, for all disks "
                                 "together. This disk is written at 8.2 MB/s.")},
        NoticeCase{"nothingKnown", EjectionPhase::ejecting(),
                   writingAt(std::nullopt, system, std::nullopt),
                   writingNotice("Data is still on its way to this disk.")},
        NoticeCase{"allWrittenButNotAnswered", EjectionPhase::ejecting(), paused(0, disk),
                   finishingNotice("All data for this disk is written.")},
        NoticeCase{"pausedSystemWide", EjectionPhase::retrying(), paused(40'000'000, system),
                   finishingNotice("The disk is not being written right now.")},
        NoticeCase{"endsWhenTheSystemAnswered", EjectionPhase::ejected("345-BACKUP"),
                   writingAt(1'000, disk, 1'000), std::nullopt},
        NoticeCase{"notDuringDiagnosis", EjectionPhase::diagnosing(), writingAt(1'000, disk, 1'000),
                   std::nullopt}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(WriteOutAnnouncementTest, SpeaksOnceWhenWritingIsFirstShown) {
    const auto shown = writingNotice("");
    EXPECT_EQ(WriteOutPresentation::announcement(std::nullopt, shown, backupDisk),
              "Still writing data to 345-BACKUP. Do not unplug it yet.");
    EXPECT_EQ(WriteOutPresentation::announcement(shown, shown, backupDisk), std::nullopt);
    EXPECT_EQ(WriteOutPresentation::announcement(shown, std::nullopt, backupDisk), std::nullopt);
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
    const auto question =
        WriteOutPresentation::closeQuestion(param.phase, backupDisk, param.progress);
    EXPECT_EQ(question ? std::optional(question->text) : std::nullopt, param.text);
    EXPECT_TRUE(!question ||
                (question->stayTitle == "Keep Waiting" && question->quitTitle == "Quit Anyway"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CloseQuestionTest,
    ::testing::Values(
        CloseCase{"whileWriting", EjectionPhase::ejecting(), writingAt(1'000, disk, 1'000),
                  "“345-BACKUP” is still being written."},
        CloseCase{"whileRetryingWithoutWrites", EjectionPhase::retrying(), paused(0, disk),
                  "Tovo is still ejecting “345-BACKUP”."},
        CloseCase{"beforeTheFirstSample", EjectionPhase::ejecting(), std::nullopt,
                  "Tovo is still ejecting “345-BACKUP”."},
        CloseCase{"afterTheEject", EjectionPhase::ejected("345-BACKUP"), std::nullopt,
                  std::nullopt},
        CloseCase{"whileBlocked", EjectionPhase::blocked(), std::nullopt, std::nullopt}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo
