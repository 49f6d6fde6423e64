#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"

#include <atomic>
#include <memory>

namespace tovo {

/// A started task: the caller may ask it to cancel and see whether it finished.
class TaskHandle {
public:
    TaskHandle() = default;

    /// Requests cancellation; the task throws `CancellationError` at its next
    /// cancellable suspension (sleep, background work that honours the token).
    void requestCancellation() const;
    bool isDone() const;
    /// The exception that ended the task, if any.
    std::exception_ptr error() const;

private:
    struct State {
        std::stop_source stopSource;
        std::atomic<bool> done{false};
        std::exception_ptr error;
    };
    explicit TaskHandle(std::shared_ptr<State> state)
        : state_(std::move(state)) {}
    std::shared_ptr<State> state_;

    template<class T>
    friend TaskHandle spawn(Executor& executor, Task<T> task);
};

namespace detail {

// Root of a spawned task: starts when the executor runs it, frees itself when done.
struct DetachedTask {
    struct promise_type : PromiseBase {
        DetachedTask get_return_object() noexcept {
            return {std::coroutine_handle<promise_type>::from_promise(*this)};
        }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() noexcept {}
    };
    std::coroutine_handle<promise_type> handle;
};

} // namespace detail

/// Starts `task` on `executor` (its first step runs when the executor next runs
/// work) and returns a handle that can request its cancellation.
template<class T>
TaskHandle spawn(Executor& executor, Task<T> task) {
    auto state = std::make_shared<TaskHandle::State>();
    auto root = [](Task<T> body,
                   std::shared_ptr<TaskHandle::State> shared) -> detail::DetachedTask {
        try {
            co_await std::move(body);
        } catch (...) {
            shared->error = std::current_exception();
        }
        shared->done = true;
    }(std::move(task), state);
    root.handle.promise().stopToken = state->stopSource.get_token();
    executor.post([handle = root.handle] { handle.resume(); });
    return TaskHandle(std::move(state));
}

} // namespace tovo
