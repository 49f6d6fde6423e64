#include "TovoSystem/Services/SystemCommandRunner.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoSystem/Services/CommandExecution.hpp"

#include <cstdlib>
#include <memory>

namespace tovo {

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

Task<CommandResult> SystemCommandRunner::run(std::filesystem::path executable,
                                             std::vector<std::string> arguments) {
    const auto timeout = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(timeout_));
    auto execution = std::make_shared<CommandExecution>(
        std::move(executable), std::move(arguments), timeout,
        temporaryDirectory_ ? *temporaryDirectory_ : defaultTemporaryDirectory());
    // A named task: GCC 12 mishandles temporaries inside co_await.
    auto task = runInBackground(executor_, [execution](std::stop_token token) {
        // Cancelling the awaiting task sends the SIGTERM at once; the worker
        // notices at its next poll and stops waiting.
        std::stop_callback onCancel(token, [&execution] { execution->cancel(); });
        return execution->runSynchronously();
    });
    co_return co_await task;
}

} // namespace tovo
