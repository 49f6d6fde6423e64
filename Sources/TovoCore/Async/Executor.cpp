#include "TovoCore/Async/Executor.hpp"

namespace tovo {

void ManualExecutor::post(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(work));
    }
    posted_.notify_all();
}

bool ManualExecutor::runOne() {
    std::function<void()> work;
    {
        std::lock_guard lock(mutex_);
        if (queue_.empty()) {
            return false;
        }
        work = std::move(queue_.front());
        queue_.pop_front();
    }
    work();
    return true;
}

std::size_t ManualExecutor::runAll() {
    std::size_t count = 0;
    while (runOne()) {
        ++count;
    }
    return count;
}

bool ManualExecutor::runUntil(const std::function<bool()>& done,
                              std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        runAll();
        if (done()) {
            return true;
        }
        std::unique_lock lock(mutex_);
        if (!posted_.wait_until(lock, deadline, [this] { return !queue_.empty(); })) {
            lock.unlock();
            runAll();
            return done();
        }
    }
}

std::size_t ManualExecutor::pendingCount() const {
    std::lock_guard lock(mutex_);
    return queue_.size();
}

} // namespace tovo
