#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoSystem/Services/CommandRunning.hpp"

#include <filesystem>

namespace tovo {

/// Runs a child with a hard time limit. Its output goes to two scratch files (a
/// chatty child can never block on a full pipe); the blocking wait happens on a
/// worker thread and resumes on `executor`. On time-out or cancellation the child
/// gets one SIGTERM and a short grace; a child that ignores it is abandoned, never
/// killed.
class SystemCommandRunner final : public CommandRunning {
public:
    static constexpr double minimumTimeout = 0.05;
    static constexpr double productionTimeout = 8.0;

    /// A `timeout` (seconds) of 0.05 or less is raised to 0.05.
    SystemCommandRunner(Executor& executor, double timeout);
    /// The same, with scratch folders made under `temporaryDirectory`.
    SystemCommandRunner(Executor& executor, double timeout,
                        std::filesystem::path temporaryDirectory);

    double timeout() const { return timeout_; }

    Task<CommandResult> run(std::filesystem::path executable,
                            std::vector<std::string> arguments) override;

    /// `$TMPDIR` when set and not empty, else /tmp.
    static std::filesystem::path defaultTemporaryDirectory();

private:
    Executor& executor_;
    double timeout_;
    std::optional<std::filesystem::path> temporaryDirectory_;
};

} // namespace tovo
