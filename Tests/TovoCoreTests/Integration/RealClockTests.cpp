#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace std::chrono_literals;

TEST(RealClockTest, SleepsAtLeastTheDurationAndCanBeCancelled) {
    ManualExecutor executor;
    RealClock clock(executor);
    auto body = [&]() -> Task<void> { co_await clock.sleep(20ms); };
    const auto start = std::chrono::steady_clock::now();
    auto finished = spawn(executor, body());
    ASSERT_TRUE(executor.runUntil([&] { return finished.isDone(); }, 5s));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
    EXPECT_FALSE(finished.error());

    auto longSleep = [&]() -> Task<void> { co_await clock.sleep(1h); };
    auto cancelled = spawn(executor, longSleep());
    executor.runAll();
    cancelled.requestCancellation();
    ASSERT_TRUE(executor.runUntil([&] { return cancelled.isDone(); }, 5s));
    EXPECT_TRUE(isCancellation(cancelled.error()));
}

} // namespace
} // namespace tovo
