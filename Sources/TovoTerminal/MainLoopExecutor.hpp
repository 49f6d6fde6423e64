#pragma once

#include "TovoCore/Async/Executor.hpp"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace tovo {

/// The terminal program's main executor: work posted from any thread runs here, on
/// the thread that calls `runUntil`, one item at a time, so the workflow needs no locks.
class MainLoopExecutor final : public Executor {
public:
    void post(std::function<void()> work) override;

    /// Runs posted work, waiting for more, until `done` holds. `afterEach` runs after
    /// every item and, when `tick` is given, after every `tick` spent waiting.
    void runUntil(const std::function<bool()>& done, const std::function<void()>& afterEach = {},
                  std::optional<std::chrono::milliseconds> tick = std::nullopt);

private:
    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> queue_;
};

} // namespace tovo
