#include "TovoCore/Async/Background.hpp"
#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace tovo {
namespace {

using namespace std::chrono_literals;

Task<int> depth(int n) {
    if (n == 0) {
        co_return 0;
    }
    co_return 1 + co_await depth(n - 1);
}

Task<int> failing() {
    throw std::runtime_error("broken");
    co_return 0;
}

// Every test drives its tasks by hand, in virtual time.
class TaskTest : public ::testing::Test {
protected:
    ManualExecutor executor;
    VirtualClock clock{executor};
};

TEST_F(TaskTest, IsLazyAndSpawnedTasksRunInPostingOrder) {
    std::vector<int> order;
    auto body = [&](int n) -> Task<void> {
        order.push_back(n);
        co_return;
    };
    auto handle = spawn(executor, body(1));
    spawn(executor, body(2));
    EXPECT_TRUE(order.empty()) << "spawning only posts";
    EXPECT_EQ(executor.runAll(), 2u);
    EXPECT_EQ(order, (std::vector{1, 2}));
    EXPECT_TRUE(handle.isDone() && !handle.error());
}

TEST_F(TaskTest, ValuesAndExceptionsReachTheAwaiterThroughDeepChains) {
    int result = 0;
    auto body = [&]() -> Task<void> {
        result = co_await depth(20000); // would overflow the stack without symmetric transfer
        co_await failing();
    };
    auto handle = spawn(executor, body());
    executor.runAll();
    EXPECT_EQ(result, 20000);
    EXPECT_EQ(readableMessage(handle.error()), "broken") << "passed up through each awaiter";
}

TEST_F(TaskTest, CancellationReachesASleepingGrandchildThroughInheritedTokens) {
    bool cancelledInChild = false;
    auto child = [&]() -> Task<void> {
        try {
            co_await clock.sleep(10s);
        } catch (const CancellationError&) {
            cancelledInChild = true;
            throw;
        }
    };
    auto parent = [&]() -> Task<void> { co_await child(); };
    auto handle = spawn(executor, parent());
    executor.runAll();
    EXPECT_EQ(clock.sleeperCount(), 1u);
    handle.requestCancellation();
    executor.runAll();
    EXPECT_TRUE(cancelledInChild);
    EXPECT_TRUE(isCancellation(handle.error())) << "the parent passes it on";
    EXPECT_EQ(clock.sleeperCount(), 0u);
    clock.advance(20s); // the cancelled sleep must not resume a second time
    EXPECT_EQ(executor.runAll(), 0u);
}

TEST_F(TaskTest, VirtualClockResumesSleepsExactlyAtTheirDeadlines) {
    std::vector<std::chrono::nanoseconds> wakes;
    auto body = [&]() -> Task<void> {
        for (const auto duration : {1200ms, 0ms, 800ms}) {
            co_await clock.sleep(duration);
            wakes.push_back(clock.now());
        }
    };
    spawn(executor, body());
    executor.runAll();
    clock.advance(1199ms);
    executor.runAll();
    EXPECT_TRUE(wakes.empty());
    clock.advance(1ms);
    executor.runAll();
    ASSERT_EQ(wakes.size(), 1u);
    while (clock.advanceToNextDeadline()) {
        executor.runAll();
    }
    EXPECT_EQ(wakes, (std::vector<std::chrono::nanoseconds>{1200ms, 1200ms, 2000ms}));
}

TEST_F(TaskTest, BackgroundWorkRunsOffTheExecutorResumesOnItAndRethrows) {
    const auto mainThread = std::this_thread::get_id();
    std::thread::id workerThread;
    std::thread::id resumedThread;
    int result = 0;
    bool sawStop = false;
    auto body = [&]() -> Task<void> {
        result = co_await runInBackground(executor, [&](std::stop_token token) {
            workerThread = std::this_thread::get_id();
            sawStop = token.stop_possible() && !token.stop_requested();
            return 7;
        });
        resumedThread = std::this_thread::get_id();
        co_await runInBackground(executor, []() -> int { throw std::logic_error("worker"); });
    };
    auto handle = spawn(executor, body());
    ASSERT_TRUE(executor.runUntil([&] { return handle.isDone(); }));
    EXPECT_EQ(result, 7);
    EXPECT_NE(workerThread, mainThread);
    EXPECT_EQ(resumedThread, mainThread);
    EXPECT_TRUE(sawStop);
    EXPECT_EQ(readableMessage(handle.error()), "worker");
}

TEST_F(TaskTest, ATaskCancelledBeforeItRunsNeverSleepsNorStartsBackgroundWork) {
    bool ran = false;
    auto sleeper = [&]() -> Task<void> { co_await clock.sleep(1s); };
    auto worker = [&]() -> Task<void> { co_await runInBackground(executor, [&] { ran = true; }); };
    const std::vector handles{spawn(executor, sleeper()), spawn(executor, worker())};
    for (const auto& handle : handles) {
        handle.requestCancellation();
    }
    ASSERT_TRUE(executor.runUntil([&] { return handles[0].isDone() && handles[1].isDone(); }));
    EXPECT_TRUE(isCancellation(handles[0].error()) && isCancellation(handles[1].error()));
    EXPECT_FALSE(ran);
    EXPECT_EQ(clock.sleeperCount(), 0u);
}

} // namespace
} // namespace tovo
