#pragma once

#include "TovoCore/Async/CancellationError.hpp"

#include <concepts>
#include <coroutine>
#include <exception>
#include <optional>
#include <stop_token>
#include <utility>

namespace tovo {

namespace detail {

/// State every Tovo coroutine carries: who resumes when it finishes, its error,
/// and the ambient stop token that the tasks it awaits inherit.
struct PromiseBase {
    std::coroutine_handle<> continuation;
    std::stop_token stopToken;
    std::exception_ptr exception;

    std::suspend_always initial_suspend() noexcept { return {}; }

    struct FinalAwaiter {
        bool await_ready() noexcept { return false; }
        template<class P>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<P> self) noexcept {
            auto next = self.promise().continuation;
            return next ? next : std::noop_coroutine();
        }
        void await_resume() noexcept {}
    };
    FinalAwaiter final_suspend() noexcept { return {}; }
    void unhandled_exception() noexcept { exception = std::current_exception(); }
};

template<class P>
concept TovoPromise = std::derived_from<P, PromiseBase>;

template<class T>
struct TaskPromise : PromiseBase {
    std::optional<T> value;
    template<class U>
    void return_value(U&& result) {
        value.emplace(std::forward<U>(result));
    }
    T take() {
        if (exception) {
            std::rethrow_exception(exception);
        }
        return std::move(*value);
    }
};

template<>
struct TaskPromise<void> : PromiseBase {
    void return_void() noexcept {}
    void take() {
        if (exception) {
            std::rethrow_exception(exception);
        }
    }
};

} // namespace detail

/// A lazily started coroutine. Awaiting it starts it, inherits the awaiting task's
/// stop token, and yields its value or rethrows its exception.
template<class T = void>
class [[nodiscard]] Task {
public:
    struct promise_type : detail::TaskPromise<T> {
        Task get_return_object() noexcept {
            return Task(std::coroutine_handle<promise_type>::from_promise(*this));
        }
    };
    using Handle = std::coroutine_handle<promise_type>;

    Task(Task&& other) noexcept
        : handle_(std::exchange(other.handle_, {})) {}
    Task& operator=(Task&& other) noexcept {
        if (this != &other) {
            destroy();
            handle_ = std::exchange(other.handle_, {});
        }
        return *this;
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task() { destroy(); }

    struct Awaiter {
        Handle handle;
        bool await_ready() const noexcept { return false; }
        template<class P>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<P> awaiting) noexcept {
            handle.promise().continuation = awaiting;
            if constexpr (detail::TovoPromise<P>) {
                handle.promise().stopToken = awaiting.promise().stopToken;
            }
            return handle;
        }
        T await_resume() { return handle.promise().take(); }
    };

    Awaiter operator co_await() && noexcept { return Awaiter{handle_}; }
    Awaiter operator co_await() & noexcept { return Awaiter{handle_}; }

private:
    explicit Task(Handle handle) noexcept
        : handle_(handle) {}
    void destroy() noexcept {
        if (handle_) {
            handle_.destroy();
            handle_ = {};
        }
    }
    Handle handle_;
};

/// `co_await currentStopToken()` yields the running task's stop token without suspending.
struct CurrentStopToken {
    std::stop_token token;
    bool await_ready() const noexcept { return false; }
    template<detail::TovoPromise P>
    bool await_suspend(std::coroutine_handle<P> self) noexcept {
        token = self.promise().stopToken;
        return false;
    }
    std::stop_token await_resume() const noexcept { return token; }
};
inline CurrentStopToken currentStopToken() noexcept {
    return {};
}

/// Throws `CancellationError` when the running task's stop token was requested.
inline Task<void> checkCancellation() {
    const auto token = co_await currentStopToken();
    if (token.stop_requested()) {
        throw CancellationError();
    }
}

} // namespace tovo
