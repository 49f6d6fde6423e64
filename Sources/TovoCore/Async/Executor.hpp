#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace tovo {

/// Where coroutine continuations run. The application's main executor is the
/// Qt event loop; every workflow step resumes there, so no locks are needed.
class Executor {
public:
    virtual ~Executor() = default;
    /// Queues `work` to run later on this executor. Safe to call from any thread.
    virtual void post(std::function<void()> work) = 0;
};

/// Runs queued work only when told to, so tests control every interleaving.
class ManualExecutor final : public Executor {
public:
    void post(std::function<void()> work) override;

    /// Runs the oldest queued item; false when the queue was empty.
    bool runOne();
    /// Runs until the queue is empty (including work queued meanwhile); returns the count.
    std::size_t runAll();
    /// Runs queued work, waiting for work posted from other threads, until `done`
    /// holds or `timeout` passes. For tests that involve real worker threads.
    bool runUntil(const std::function<bool()>& done,
                  std::chrono::milliseconds timeout = std::chrono::seconds(30));
    std::size_t pendingCount() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> queue_;
};

} // namespace tovo
