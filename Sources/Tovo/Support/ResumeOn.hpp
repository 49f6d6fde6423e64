#pragma once

#include "TovoCore/Async/Executor.hpp"

#include <coroutine>

namespace tovo {

/// `co_await resumeOn(executor)` moves the running coroutine onto `executor`: it
/// suspends and continues when the executor runs the posted resumption.
struct ResumeOn {
    Executor& executor;

    bool await_ready() const noexcept { return false; }
    // The executor may resume the coroutine before this returns, so nothing here
    // touches the awaiter after posting.
    void await_suspend(std::coroutine_handle<> handle) const {
        executor.post([handle] { handle.resume(); });
    }
    void await_resume() const noexcept {}
};

inline ResumeOn resumeOn(Executor& executor) noexcept {
    return ResumeOn{executor};
}

} // namespace tovo
