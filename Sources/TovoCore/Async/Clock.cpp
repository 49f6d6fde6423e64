#include "TovoCore/Async/Clock.hpp"

namespace tovo {

namespace detail {

void SleepWaiter::start(std::coroutine_handle<> handle, const std::stop_token& token) {
    {
        std::lock_guard lock(mutex_);
        handle_ = handle;
    }
    // Registered after the handle is known; runs at once when already requested.
    onStop_.emplace(token, std::function<void()>([this] { finish(true); }));
}

bool SleepWaiter::finish(bool cancelled) {
    std::coroutine_handle<> handle;
    {
        std::lock_guard lock(mutex_);
        if (finished_ || !handle_) {
            return false;
        }
        finished_ = true;
        cancelled_ = cancelled;
        handle = handle_;
    }
    executor_.post([handle] { handle.resume(); });
    return true;
}

bool SleepWaiter::isFinished() const {
    std::lock_guard lock(mutex_);
    return finished_;
}

bool SleepWaiter::wasCancelled() const {
    std::lock_guard lock(mutex_);
    return cancelled_;
}

void SleepWaiter::detachCancellation() {
    onStop_.reset();
}

void SleepAwaiter::await_resume() {
    waiter->detachCancellation();
    if (waiter->wasCancelled()) {
        throw CancellationError();
    }
}

} // namespace detail

RealClock::RealClock(Executor& executor)
    : executor_(executor) {
    timer_ = std::thread([this] { timerLoop(); });
}

RealClock::~RealClock() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    timer_.join();
}

Task<void> RealClock::sleep(std::chrono::nanoseconds duration) {
    co_await checkCancellation();
    auto waiter = std::make_shared<detail::SleepWaiter>(executor_);
    const auto deadline = std::chrono::steady_clock::now() + duration;
    // A named awaiter: GCC 12 mishandles the lifetime of temporaries in co_await.
    detail::SleepAwaiter awaiter{waiter, [this, deadline](auto sleeping) {
                                     {
                                         std::lock_guard lock(mutex_);
                                         waiters_.emplace(deadline, std::move(sleeping));
                                     }
                                     changed_.notify_all();
                                 }};
    co_await awaiter;
}

std::chrono::nanoseconds RealClock::now() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

void RealClock::timerLoop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        // Cancelled sleepers were resumed already; forget them.
        std::erase_if(waiters_, [](const auto& entry) { return entry.second->isFinished(); });
        if (waiters_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto next = waiters_.begin()->first;
        if (std::chrono::steady_clock::now() < next) {
            changed_.wait_until(lock, next);
            continue;
        }
        auto waiter = waiters_.begin()->second;
        waiters_.erase(waiters_.begin());
        lock.unlock();
        waiter->finish(false);
        lock.lock();
    }
}

Task<void> VirtualClock::sleep(std::chrono::nanoseconds duration) {
    co_await checkCancellation();
    auto waiter = std::make_shared<detail::SleepWaiter>(executor_);
    detail::SleepAwaiter awaiter{waiter, [this, duration](auto sleeping) {
                                     std::lock_guard lock(mutex_);
                                     waiters_.emplace(now_ + duration, std::move(sleeping));
                                 }};
    co_await awaiter;
}

std::chrono::nanoseconds VirtualClock::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

void VirtualClock::advance(std::chrono::nanoseconds duration) {
    std::vector<std::shared_ptr<detail::SleepWaiter>> due;
    {
        std::lock_guard lock(mutex_);
        now_ += duration;
        while (!waiters_.empty() && waiters_.begin()->first <= now_) {
            due.push_back(waiters_.begin()->second);
            waiters_.erase(waiters_.begin());
        }
    }
    for (auto& waiter : due) {
        waiter->finish(false);
    }
}

bool VirtualClock::advanceToNextDeadline() {
    std::chrono::nanoseconds step{};
    {
        std::lock_guard lock(mutex_);
        pruneFinished();
        if (waiters_.empty()) {
            return false;
        }
        step = waiters_.begin()->first - now_;
    }
    advance(step);
    return true;
}

std::size_t VirtualClock::sleeperCount() const {
    std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& entry : waiters_) {
        count += entry.second->isFinished() ? 0 : 1;
    }
    return count;
}

void VirtualClock::pruneFinished() {
    std::erase_if(waiters_, [](const auto& entry) { return entry.second->isFinished(); });
}

} // namespace tovo
