#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"
#include "TovoSystem/Services/CommandRunning.hpp"

#include <filesystem>
#include <memory>
#include <optional>

namespace tovo {

class CommandExecution;

/// Runs a child with a hard time limit. Its output goes to two scratch files (a
/// chatty child can never block on a full pipe). The child leads a process group of
/// its own; on time-out or cancellation that group gets one SIGTERM and a short
/// grace, and a child that ignores it is abandoned, never killed.
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

    /// The run on a worker thread, resumed on the executor.
    Task<CommandResult> run(std::filesystem::path executable, std::vector<std::string> arguments);
    CommandResult runSynchronously(std::filesystem::path executable,
                                   std::vector<std::string> arguments,
                                   std::stop_token stop) override;

    /// `$TMPDIR` when set and not empty, else /tmp.
    static std::filesystem::path defaultTemporaryDirectory();

private:
    std::shared_ptr<CommandExecution> execution(std::filesystem::path executable,
                                                std::vector<std::string> arguments) const;

    Executor& executor_;
    double timeout_;
    std::optional<std::filesystem::path> temporaryDirectory_;
};

} // namespace tovo
