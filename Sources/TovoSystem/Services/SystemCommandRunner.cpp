#include "TovoSystem/Services/SystemCommandRunner.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoSystem/Services/CommandExecution.hpp"

#include <cstdlib>
#include <memory>

namespace tovo {

namespace {

CommandResult execute(const std::shared_ptr<CommandExecution>& execution,
                      const std::stop_token& stop) {
    // A stop request sends the SIGTERM at once; the waiting loop notices at its
    // next poll and stops waiting.
    std::stop_callback onCancel(stop, [&execution] { execution->cancel(); });
    return execution->runSynchronously();
}

} // namespace

SystemCommandRunner::SystemCommandRunner(Executor& executor, double timeout)
    : executor_(executor)
    , timeout_(timeout > minimumTimeout ? timeout : minimumTimeout) {}

SystemCommandRunner::SystemCommandRunner(Executor& executor, double timeout,
                                         std::filesystem::path temporaryDirectory)
    : SystemCommandRunner(executor, timeout) {
    temporaryDirectory_ = std::move(temporaryDirectory);
}

std::filesystem::path SystemCommandRunner::defaultTemporaryDirectory() {
    const char* directory = std::getenv("TMPDIR");
    if (directory != nullptr && *directory != '\0') {
        return directory;
    }
    return "/tmp";
}

std::shared_ptr<CommandExecution>
SystemCommandRunner::execution(std::filesystem::path executable,
                               std::vector<std::string> arguments) const {
    const auto timeout = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(timeout_));
    return std::make_shared<CommandExecution>(std::move(executable), std::move(arguments), timeout,
                                              temporaryDirectory_ ? *temporaryDirectory_
                                                                  : defaultTemporaryDirectory());
}

Task<CommandResult> SystemCommandRunner::run(std::filesystem::path executable,
                                             std::vector<std::string> arguments) {
    // The worker holds the execution, not the runner, which may be gone by then.
    auto running = execution(std::move(executable), std::move(arguments));
    // A named task: GCC 12 mishandles temporaries inside co_await.
    auto task = runInBackground(executor_,
                                [running](std::stop_token stop) { return execute(running, stop); });
    co_return co_await task;
}

CommandResult SystemCommandRunner::runSynchronously(std::filesystem::path executable,
                                                    std::vector<std::string> arguments,
                                                    std::stop_token stop) {
    return execute(execution(std::move(executable), std::move(arguments)), stop);
}

} // namespace tovo
