#pragma once

#include "TovoSystem/Services/CommandRunning.hpp"

#include <chrono>
#include <filesystem>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tovo {

/// One run of one child, shared by the worker that waits for it and the
/// cancellation callback of the awaiting task.
class CommandExecution {
public:
    static constexpr std::chrono::milliseconds pollInterval{25};
    static constexpr std::chrono::milliseconds stopGrace{400};
    static constexpr std::chrono::milliseconds stopPollInterval{20};

    CommandExecution(std::filesystem::path executable, std::vector<std::string> arguments,
                     std::chrono::nanoseconds timeout, std::filesystem::path temporaryDirectory);
    ~CommandExecution();
    CommandExecution(const CommandExecution&) = delete;
    CommandExecution& operator=(const CommandExecution&) = delete;

    /// Blocks until the child has finished, timed out or been cancelled.
    CommandResult runSynchronously();
    /// Marks the run cancelled and sends the running child's group one SIGTERM. Any thread.
    void cancel();

private:
    void launch(int standardOutput, int standardError);
    bool isCancellationRequested();
    /// Reaps the child if it has ended; false while it runs.
    bool hasEnded();
    /// Waits up to `interval`, returning early when the child ends.
    void waitForExit(std::chrono::milliseconds interval) const;
    /// One SIGTERM, a bounded grace, then reap or abandon. Never a second signal.
    void stop();
    /// The one SIGTERM to the child's process group, unless sent already or the child
    /// is reaped (its pid, and so the group id, could then be reused). Under `mutex_`.
    void terminateGroupLocked();
    void abandonChild();

    const std::filesystem::path executable_;
    const std::vector<std::string> arguments_;
    const std::chrono::nanoseconds timeout_;
    const std::filesystem::path temporaryDirectory_;

    // Reaping and signalling happen under `mutex_`, so the group is signalled only
    // while its leader is unreaped. Never held across a sleep or a launch.
    std::mutex mutex_;
    pid_t pid_ = -1; ///< the child, also its process group; written once, by the worker
    bool reaped_ = false;
    bool cancellationRequested_ = false;
    bool terminateSent_ = false;

    // Written by the worker only.
    int pidfd_ = -1; ///< for waiting only
    int waitStatus_ = 0;
};

} // namespace tovo
