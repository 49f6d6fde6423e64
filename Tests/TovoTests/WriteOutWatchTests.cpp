#include "Support/FakeWriteOutMonitor.hpp"
#include "Support/ModelBuilders.hpp"
#include "Tovo/Support/WriteOutWatch.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace testing;
using namespace std::chrono_literals;

constexpr std::uint64_t MB = 1'000'000;
const auto disk = makeDisk(3, "345-BACKUP");
const WriteOutSample first{true, 300 * MB, WriteOutScope::disk, std::nullopt};
const WriteOutSample writing{true, 292 * MB, WriteOutScope::disk, 8 * MB};
const WriteOutSample written{false, 0, WriteOutScope::disk, 0};

struct WatchScene {
    WatchScene() {
        watch.setChangeHandler([this] { ++changes; });
    }
    // A watch still sampling is cancelled; its task ends once the executor runs.
    ~WatchScene() {
        watch.follow(EjectionPhase::ready(), disk);
        executor.runAll();
    }

    void follow(const EjectionPhase& phase) {
        watch.follow(phase, disk);
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
    scene.pass(10s);
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
    scene.watch.follow(EjectionPhase::ready(), disk);
    scene.executor.runAll();

    EXPECT_EQ(scene.watch.progress(), std::nullopt);
    EXPECT_EQ(scene.changes, 0);
}

} // namespace
} // namespace tovo
