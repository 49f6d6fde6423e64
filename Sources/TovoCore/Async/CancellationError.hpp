#pragma once

#include "TovoCore/Models/Error.hpp"

namespace tovo {

/// Thrown at a suspension point when the running task's stop token was requested.
/// Cancellation is never a failure: the workflow recovers from it quietly.
class CancellationError final : public Error {
public:
    std::string description() const override { return "The operation was cancelled."; }
    std::string domain() const override { return "tovo.CancellationError"; }
    std::int64_t code() const override { return 1; }
};

/// True when `error` is the task-cancellation error.
bool isCancellation(std::exception_ptr error);

} // namespace tovo
