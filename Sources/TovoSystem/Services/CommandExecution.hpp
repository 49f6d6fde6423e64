#pragma once

#include "TovoSystem/Services/CommandRunning.hpp"

#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>
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
    /// Marks the run cancelled and sends the running child one SIGTERM. Any thread.
    void cancel();

private:
    struct Child {
        pid_t pid;
        int pidfd; // signals through it can never reach a later process reusing the pid
    };

    void launch(int standardOutput, int standardError);
    bool isCancellationRequested();
    /// Reaps the child if it has ended; false while it runs.
    bool hasEnded();
    /// Waits up to `interval`, returning early when the child ends.
    void waitForExit(std::chrono::milliseconds interval) const;
    /// One SIGTERM, a bounded grace, then reap or abandon. Never a second signal.
    void stop();
    void forgetChild();
    void abandonChild();

    const std::filesystem::path executable_;
    const std::vector<std::string> arguments_;
    const std::chrono::nanoseconds timeout_;
    const std::filesystem::path temporaryDirectory_;

    // `child_` and `cancellationRequested_` only under `mutex_`, never held
    // across a sleep, a launch or a signal.
    std::mutex mutex_;
    std::optional<Child> child_;
    bool cancellationRequested_ = false;

    // Written by the worker only.
    pid_t pid_ = -1;
    int pidfd_ = -1;
    int waitStatus_ = 0;
    bool terminateSent_ = false;
};

} // namespace tovo
