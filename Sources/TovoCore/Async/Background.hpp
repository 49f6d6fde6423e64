#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"

#include <thread>
#include <type_traits>

namespace tovo {

namespace detail {

template<class F>
auto invokeWithToken(F& work, const std::stop_token& token) {
    if constexpr (std::is_invocable_v<F&, std::stop_token>) {
        return work(token);
    } else {
        return work();
    }
}

template<class F>
using BackgroundResult = decltype(invokeWithToken(std::declval<F&>(), std::stop_token{}));

// Runs `work` on a fresh worker thread, then resumes the awaiting coroutine on
// `executor`. The awaiter lives in the suspended frame, so the worker may write
// into it until it posts the resumption, and must not touch it afterwards.
template<class F>
struct BackgroundAwaiter {
    using Result = BackgroundResult<F>;

    BackgroundAwaiter(Executor& executor, F work)
        : executor(executor)
        , work(std::move(work)) {}

    Executor& executor;
    F work;
    std::conditional_t<std::is_void_v<Result>, bool, std::optional<Result>> result{};
    std::exception_ptr exception{};

    bool await_ready() const noexcept { return false; }

    template<TovoPromise P>
    void await_suspend(std::coroutine_handle<P> awaiting) {
        const auto token = awaiting.promise().stopToken;
        std::thread([this, awaiting, token] {
            try {
                if constexpr (std::is_void_v<Result>) {
                    invokeWithToken(work, token);
                } else {
                    result.emplace(invokeWithToken(work, token));
                }
            } catch (...) {
                exception = std::current_exception();
            }
            executor.post([awaiting] { awaiting.resume(); });
        }).detach();
    }

    Result await_resume() {
        if (exception) {
            std::rethrow_exception(exception);
        }
        if constexpr (!std::is_void_v<Result>) {
            return std::move(*result);
        }
    }
};

} // namespace detail

/// Runs blocking `work` (lsof, /proc, udev, D-Bus) on a worker thread and resumes
/// on `executor` with its result or its exception. `work` may take the task's
/// `std::stop_token` to notice cancellation; a task already cancelled never starts it.
template<class F>
Task<detail::BackgroundResult<F>> runInBackground(Executor& executor, F work) {
    co_await checkCancellation();
    // A named awaiter: GCC 12 mishandles the lifetime of temporaries in co_await.
    detail::BackgroundAwaiter<F> awaiter(executor, std::move(work));
    co_return co_await awaiter;
}

} // namespace tovo
