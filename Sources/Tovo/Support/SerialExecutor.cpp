#include "Tovo/Support/SerialExecutor.hpp"

namespace tovo {

SerialExecutor::SerialExecutor()
    : worker_([this] { loop(); }) {}

SerialExecutor::~SerialExecutor() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    posted_.notify_all();
    worker_.join();
}

void SerialExecutor::post(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(work));
    }
    posted_.notify_all();
}

bool SerialExecutor::isCurrent() const {
    return std::this_thread::get_id() == worker_.get_id();
}

void SerialExecutor::loop() {
    while (true) {
        std::function<void()> work;
        {
            std::unique_lock lock(mutex_);
            posted_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
            if (queue_.empty()) {
                return;
            }
            work = std::move(queue_.front());
            queue_.pop_front();
        }
        work();
    }
}

} // namespace tovo
