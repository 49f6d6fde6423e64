#include "TovoTerminal/MainLoopExecutor.hpp"

namespace tovo {

void MainLoopExecutor::post(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(work));
    }
    posted_.notify_one();
}

void MainLoopExecutor::runUntil(const std::function<bool()>& done,
                                const std::function<void()>& afterEach,
                                std::optional<std::chrono::milliseconds> tick) {
    while (!done()) {
        std::function<void()> work;
        {
            std::unique_lock lock(mutex_);
            const auto ready = [this] { return !queue_.empty(); };
            if (tick) {
                if (!posted_.wait_for(lock, *tick, ready)) {
                    lock.unlock();
                    if (afterEach) {
                        afterEach();
                    }
                    continue;
                }
            } else {
                posted_.wait(lock, ready);
            }
            work = std::move(queue_.front());
            queue_.pop_front();
        }
        work();
        if (afterEach) {
            afterEach();
        }
    }
}

} // namespace tovo
