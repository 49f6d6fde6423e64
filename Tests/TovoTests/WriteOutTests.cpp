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

class WriteOutWatchTest : public ::testing::Test {
protected:
    WriteOutWatchTest() {
        watch.setChangeHandler([this] { ++changes; });
    }
    // A watch still sampling is cancelled; its task ends once the executor runs.
    ~WriteOutWatchTest() override { follow(EjectionPhase::ready()); }

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
TEST_F(WriteOutWatchTest, SamplesEverySecondOfAnEjectAndForgetsItAfterwards) {
    monitor.samples.enqueueValue(first);
    monitor.samples.enqueueValue(writing);
    monitor.samples.setValue(written);

    follow(EjectionPhase::ejecting());
    EXPECT_EQ(std::tuple(monitor.samples.callCount(), watch.progress()),
              std::tuple(1u, std::nullopt));
    pass(WriteOutWatch::interval);
    EXPECT_EQ(watch.progress(), (WriteOutProgress{writing, true}));
    follow(EjectionPhase::ejecting()); // the same eject: nothing starts again
    pass(WriteOutWatch::interval);
    // Written out, but udisks2 has not answered: it was written, and that stays known.
    EXPECT_EQ(std::tuple(watch.progress(), monitor.samples.callCount(), changes),
              std::tuple(WriteOutProgress{written, true}, 3u, 2));

    follow(EjectionPhase::ejected("345-BACKUP"));
    EXPECT_EQ(std::tuple(watch.progress(), clock.sleeperCount()), std::tuple(std::nullopt, 0u));
    pass(WriteOutWatch::interval * 10);
    EXPECT_EQ(monitor.samples.callCount(), 3u);
}

TEST_F(WriteOutWatchTest, ARetriedEjectStartsAfresh) {
    monitor.samples.setValue(writing);
    follow(EjectionPhase::ejecting());
    pass(WriteOutWatch::interval);
    ASSERT_TRUE(watch.progress());

    follow(EjectionPhase::diagnosing());
    follow(EjectionPhase::retrying());
    EXPECT_EQ(std::tuple(watch.progress(), monitor.samples.callCount()),
              std::tuple(std::nullopt, 3u))
        << "a new first sample";
    monitor.samples.setValue(written);
    pass(WriteOutWatch::interval);
    EXPECT_EQ(watch.progress(), (WriteOutProgress{written, false}));
}

// A sample taken on a worker thread may arrive after its eject ended.
TEST_F(WriteOutWatchTest, ALateSampleOfAnEndedEjectIsDropped) {
    monitor.samples.enqueueValue(first);
    follow(EjectionPhase::ejecting());
    clock.advance(WriteOutWatch::interval);
    executor.runAll(); // the second sample is under way
    monitor.samples.resolve(writing);
    follow(EjectionPhase::ready());
    EXPECT_EQ(std::tuple(watch.progress(), changes), std::tuple(std::nullopt, 0));
}

const std::string dontUnplug = "Do not unplug “345-BACKUP” yet.";

WriteOutProgress writingAt(std::optional<std::uint64_t> left, WriteOutScope scope,
                           std::optional<std::uint64_t> rate) {
    return {{true, left, scope, rate}, true};
}

WriteOutProgress paused(std::optional<std::uint64_t> left, WriteOutScope scope) {
    return {{false, left, scope, 0}, true};
}

// Name, phase, progress, the notice shown.
using NoticeCase = std::tuple<const char*, EjectionPhase, std::optional<WriteOutProgress>,
                              std::optional<WriteOutNotice>>;

class WriteOutNoticeTest : public ::testing::TestWithParam<NoticeCase> {};

TEST_P(WriteOutNoticeTest, SaysWhatIsLeftOnlyWhileTheEjectRuns) {
    const auto& [name, phase, progress, shown] = GetParam();
    EXPECT_EQ(WriteOutPresentation::notice(phase, backupDisk, progress), shown);
}

// Every notice warns not to unplug; the title says whether data is still moving.
WriteOutNotice writingNotice(std::string detail) {
    return {"Writing data to “345-BACKUP”", std::move(detail), dontUnplug};
}
WriteOutNotice finishingNotice(std::string detail) {
    return {"Finishing the eject", std::move(detail) + " The system is finishing the eject.",
            dontUnplug};
}

const auto ejecting = EjectionPhase::ejecting();
const auto retrying = EjectionPhase::retrying();

INSTANTIATE_TEST_SUITE_P(
    Rows, WriteOutNoticeTest,
    ::testing::Values(
        NoticeCase{"noSampleYet", ejecting, std::nullopt, std::nullopt},
        NoticeCase{"nothingWrittenThisEject", ejecting,
                   WriteOutProgress{{false, 0, disk, 0}, false}, std::nullopt},
        NoticeCase{"diskAmountAndRate", ejecting, writingAt(312 * MB, disk, 8'200'000),
                   writingNotice("312 MB left to write to this disk, at 8.2 MB/s.")},
        NoticeCase{"firstSampleHasNoRate", retrying, writingAt(312 * MB, disk, std::nullopt),
                   writingNotice("312 MB left to write to this disk.")},
        NoticeCase{"systemTotalIsSaidToBeOne", ejecting, writingAt(1'500 * MB, system, 8'200'000),
                   writingNotice("1.5 GB still to be written by the system, for all disks "
                                 "together. This disk is written at 8.2 MB/s.")},
        NoticeCase{"nothingKnown", ejecting, writingAt(std::nullopt, system, std::nullopt),
                   writingNotice("Data is still on its way to this disk.")},
        NoticeCase{"allWrittenButNotAnswered", ejecting, paused(0, disk),
                   finishingNotice("All data for this disk is written.")},
        NoticeCase{"pausedSystemWide", retrying, paused(40 * MB, system),
                   finishingNotice("The disk is not being written right now.")},
        NoticeCase{"endsWhenTheSystemAnswered", EjectionPhase::ejected("345-BACKUP"),
                   writingAt(1'000, disk, 1'000), std::nullopt}),
    [](const auto& info) { return std::string(std::get<0>(info.param)); });

TEST(WriteOutAnnouncementTest, SpeaksOnceWhenWritingIsFirstShown) {
    const auto shown = writingNotice("");
    EXPECT_EQ(WriteOutPresentation::announcement(std::nullopt, shown, backupDisk),
              "Still writing data to 345-BACKUP. Do not unplug it yet.");
    EXPECT_EQ(WriteOutPresentation::announcement(shown, shown, backupDisk), std::nullopt);
    EXPECT_EQ(WriteOutPresentation::announcement(shown, std::nullopt, backupDisk), std::nullopt);
}

TEST(CloseQuestionTest, AsksOnlyDuringAnEject) {
    const std::string ejecting = "Tovo is still ejecting “345-BACKUP”.";
    using Row =
        std::tuple<EjectionPhase, std::optional<WriteOutProgress>, std::optional<std::string>>;
    for (const auto& [phase, progress, text] :
         {Row{EjectionPhase::ejecting(), writingAt(1'000, disk, 1'000),
              "“345-BACKUP” is still being written."},
          Row{EjectionPhase::retrying(), paused(0, disk), ejecting},
          Row{EjectionPhase::ejecting(), std::nullopt, ejecting},
          Row{EjectionPhase::blocked(), std::nullopt, std::nullopt}}) {
        const auto question = WriteOutPresentation::closeQuestion(phase, backupDisk, progress);
        EXPECT_EQ(question ? std::optional(question->text) : std::nullopt, text)
            << phase.caseName();
    }
}

} // namespace
} // namespace tovo
