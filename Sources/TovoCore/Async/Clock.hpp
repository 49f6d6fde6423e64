#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace tovo {

/// Time as the workflow sees it. `sleep` resumes on the clock's executor and throws
/// `CancellationError` when the sleeping task is cancelled, before or during the wait.
class Clock {
public:
    virtual ~Clock() = default;
    virtual Task<void> sleep(std::chrono::nanoseconds duration) = 0;
    virtual std::chrono::nanoseconds now() const = 0;
};

namespace detail {

// One pending sleep, resumed exactly once: by its deadline or by cancellation.
class SleepWaiter {
public:
    explicit SleepWaiter(Executor& executor)
        : executor_(executor) {}
    void start(std::coroutine_handle<> handle, const std::stop_token& token);
    /// Resumes the sleeper; false when it had already been resumed.
    bool finish(bool cancelled);
    bool isFinished() const;
    bool wasCancelled() const;
    void detachCancellation();

private:
    Executor& executor_;
    mutable std::mutex mutex_;
    std::coroutine_handle<> handle_;
    bool finished_ = false;
    bool cancelled_ = false;
    std::optional<std::stop_callback<std::function<void()>>> onStop_;
};

struct SleepAwaiter {
    std::shared_ptr<SleepWaiter> waiter;
    std::function<void(std::shared_ptr<SleepWaiter>)> schedule;

    bool await_ready() const noexcept { return false; }
    template<TovoPromise P>
    void await_suspend(std::coroutine_handle<P> sleeper) {
        // The handle must be known before a deadline can fire.
        waiter->start(sleeper, sleeper.promise().stopToken);
        schedule(waiter);
    }
    void await_resume();
};

} // namespace detail

/// Wall-clock sleeps, timed on one timer thread and resumed on the executor.
class RealClock final : public Clock {
public:
    explicit RealClock(Executor& executor);
    ~RealClock() override;
    Task<void> sleep(std::chrono::nanoseconds duration) override;
    std::chrono::nanoseconds now() const override;

private:
    void timerLoop();

    Executor& executor_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<std::chrono::steady_clock::time_point, std::shared_ptr<detail::SleepWaiter>>
        waiters_;
    bool stopping_ = false;
    std::thread timer_;
};

/// Test time: nothing moves until the test advances it.
class VirtualClock final : public Clock {
public:
    explicit VirtualClock(Executor& executor)
        : executor_(executor) {}
    Task<void> sleep(std::chrono::nanoseconds duration) override;
    std::chrono::nanoseconds now() const override;

    /// Moves time forward and queues the resumption of every sleep now due.
    void advance(std::chrono::nanoseconds duration);
    /// Moves time to the earliest pending deadline; false when nobody sleeps.
    bool advanceToNextDeadline();
    std::size_t sleeperCount() const;

private:
    void pruneFinished();

    Executor& executor_;
    mutable std::mutex mutex_;
    std::chrono::nanoseconds now_{0};
    std::multimap<std::chrono::nanoseconds, std::shared_ptr<detail::SleepWaiter>> waiters_;
};

} // namespace tovo
