#pragma once

#include "TovoCore/Async/Executor.hpp"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tovo {

/// One worker thread that runs posted work in order, one item at a time: state
/// touched only from here needs no lock. Work still queued at destruction is run
/// before the thread ends.
class SerialExecutor final : public Executor {
public:
    SerialExecutor();
    ~SerialExecutor() override;
    SerialExecutor(const SerialExecutor&) = delete;
    SerialExecutor& operator=(const SerialExecutor&) = delete;

    void post(std::function<void()> work) override;
    /// True when called from this executor's own thread.
    bool isCurrent() const;

private:
    void loop();

    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> queue_;
    bool stopping_ = false;
    std::thread worker_;
};

} // namespace tovo
