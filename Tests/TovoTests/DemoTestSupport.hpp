#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoCore/Async/Task.hpp"

#include <gtest/gtest.h>

#include <optional>

namespace tovo::testing {

/// The main executor and the demo scenario's own executor, both run by hand.
struct DemoExecutors {
    ManualExecutor main;
    std::shared_ptr<ManualExecutor> isolation = std::make_shared<ManualExecutor>();

    /// Runs both queues until neither has work left.
    void settle() {
        while (main.runAll() + isolation->runAll() > 0) {
        }
    }
};

/// Runs `task` on the main executor to completion and returns its value.
template<class T>
T finish(DemoExecutors& executors, Task<T> task) {
    std::optional<T> result;
    auto body = [](Task<T> inner, std::optional<T>& out) -> Task<void> {
        out.emplace(co_await std::move(inner));
    };
    const auto handle = spawn(executors.main, body(std::move(task), result));
    executors.settle();
    EXPECT_TRUE(handle.isDone());
    if (handle.error()) {
        std::rethrow_exception(handle.error());
    }
    return std::move(*result);
}

inline void finish(DemoExecutors& executors, Task<void> task) {
    const auto handle = spawn(executors.main, std::move(task));
    executors.settle();
    EXPECT_TRUE(handle.isDone());
    if (handle.error()) {
        std::rethrow_exception(handle.error());
    }
}

} // namespace tovo::testing
