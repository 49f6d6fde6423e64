#pragma once

#include "TovoCore/Async/Spawn.hpp"

#include <stdexcept>
#include <type_traits>
#include <variant>

namespace tovo::testing {

/// A task started on a manual executor whose value or error the test reads.
template<class T>
class StartedTask {
public:
    StartedTask(Executor& executor, Task<T> task)
        : outcome_(std::make_shared<Outcome>()) {
        handle_ = spawn(executor, capture(std::move(task), outcome_));
    }

    bool isDone() const { return handle_.isDone(); }
    void cancel() const { handle_.requestCancellation(); }
    std::exception_ptr error() const { return outcome_->error; }
    const auto& value() const { return outcome_->value; }

    /// Drives `executor` until the task ends; false when it is still running after `limit`.
    bool finish(ManualExecutor& executor,
                std::chrono::milliseconds limit = std::chrono::seconds(20)) const {
        return executor.runUntil([this] { return isDone(); }, limit);
    }

private:
    struct Outcome {
        std::optional<std::conditional_t<std::is_void_v<T>, std::monostate, T>> value;
        std::exception_ptr error;
    };
    static Task<void> capture(Task<T> task, std::shared_ptr<Outcome> outcome) {
        try {
            if constexpr (std::is_void_v<T>) {
                co_await std::move(task);
                outcome->value.emplace();
            } else {
                outcome->value.emplace(co_await std::move(task));
            }
        } catch (...) {
            outcome->error = std::current_exception();
        }
    }

    std::shared_ptr<Outcome> outcome_;
    TaskHandle handle_;
};

/// Runs `task` to its end and returns its value, rethrowing its error.
template<class T>
T runToEnd(ManualExecutor& executor, Task<T> task) {
    StartedTask<T> started(executor, std::move(task));
    if (!started.finish(executor)) {
        throw std::runtime_error("task did not finish");
    }
    if (started.error()) {
        std::rethrow_exception(started.error());
    }
    if constexpr (!std::is_void_v<T>) {
        return *started.value();
    }
}

} // namespace tovo::testing
