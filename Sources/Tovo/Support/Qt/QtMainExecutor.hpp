#pragma once

#include "TovoCore/Async/Executor.hpp"

#include <QObject>

#include <memory>
#include <mutex>

namespace tovo {

/// The application's main executor: posted work runs in the Qt event loop of the
/// thread that created it, in posting order. Posting is safe from any thread; work
/// posted after destruction is dropped.
class QtMainExecutor final : public Executor {
public:
    QtMainExecutor();
    ~QtMainExecutor() override;
    QtMainExecutor(const QtMainExecutor&) = delete;
    QtMainExecutor& operator=(const QtMainExecutor&) = delete;

    void post(std::function<void()> work) override;

private:
    std::mutex mutex_;
    std::unique_ptr<QObject> context_;
};

} // namespace tovo
