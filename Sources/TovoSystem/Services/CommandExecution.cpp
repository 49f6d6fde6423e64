#include "TovoSystem/Services/CommandExecution.hpp"

#include "TovoCore/Async/CancellationError.hpp"
#include "TovoCore/Models/Uuid.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace tovo {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void throwErrno(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd)
        : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

/// Removes the scratch folder on every way out; a failed removal is ignored.
class ScratchFolder {
public:
    explicit ScratchFolder(std::filesystem::path path)
        : path_(std::move(path)) {}
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

private:
    std::filesystem::path path_;
};

int createScratchFile(const std::filesystem::path& path) {
    int fd;
    do {
        fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

std::string readWholeFile(const std::filesystem::path& path) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) {
        throwErrno(errno, "open");
    }
    std::string bytes;
    char buffer[65536];
    while (true) {
        const auto count = ::read(file.get(), buffer, sizeof buffer);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwErrno(errno, "read");
        }
        if (count == 0) {
            return bytes;
        }
        bytes.append(buffer, static_cast<std::size_t>(count));
    }
}

/// The exit code, or the signal number for a child ended by a signal.
std::int32_t terminationStatus(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    if (WIFSIGNALED(waitStatus)) {
        return WTERMSIG(waitStatus);
    }
    return waitStatus;
}

// A direct system call: this C library's pidfd header lacks C linkage for C++.
int openPidfd(pid_t pid) {
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}

} // namespace

CommandExecution::CommandExecution(std::filesystem::path executable,
                                   std::vector<std::string> arguments,
                                   std::chrono::nanoseconds timeout,
                                   std::filesystem::path temporaryDirectory)
    : executable_(std::move(executable))
    , arguments_(std::move(arguments))
    , timeout_(timeout)
    , temporaryDirectory_(std::move(temporaryDirectory)) {}

CommandExecution::~CommandExecution() {
    if (pidfd_ >= 0) {
        ::close(pidfd_);
    }
}

CommandResult CommandExecution::runSynchronously() {
    if (isCancellationRequested()) {
        throw CancellationError();
    }

    const auto folder = temporaryDirectory_ / ("Tovo-" + Uuid::random().toString());
    std::filesystem::create_directories(folder);
    ScratchFolder scratch(folder);

    FileDescriptor standardOutput(createScratchFile(folder / "stdout"));
    if (standardOutput.get() < 0) {
        throw CommandRunnerError(CommandRunnerError::Kind::couldNotCreateTemporaryFiles);
    }
    FileDescriptor standardError(createScratchFile(folder / "stderr"));
    if (standardError.get() < 0) {
        throw CommandRunnerError(CommandRunnerError::Kind::couldNotCreateTemporaryFiles);
    }

    launch(standardOutput.get(), standardError.get());
    // A cancellation that came before the launch found no child to signal.
    if (isCancellationRequested()) {
        stop();
        throw CancellationError();
    }

    const auto deadline = Clock::now() + timeout_;
    while (!hasEnded()) {
        if (isCancellationRequested()) {
            stop();
            throw CancellationError();
        }
        const auto now = Clock::now();
        if (now >= deadline) {
            stop();
            throw CommandRunnerError(CommandRunnerError::Kind::timedOut);
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now);
        waitForExit(std::min(pollInterval, left));
    }
    // A result that arrives after a cancellation is discarded.
    if (isCancellationRequested()) {
        throw CancellationError();
    }

    return CommandResult{terminationStatus(waitStatus_), readWholeFile(folder / "stdout"),
                         readWholeFile(folder / "stderr")};
}

void CommandExecution::launch(int standardOutput, int standardError) {
    posix_spawn_file_actions_t actions;
    if (const int error = posix_spawn_file_actions_init(&actions)) {
        throwErrno(error, "posix_spawn_file_actions_init");
    }
    struct ActionsGuard {
        posix_spawn_file_actions_t* actions;
        ~ActionsGuard() { posix_spawn_file_actions_destroy(actions); }
    } actionsGuard{&actions};
    // Nothing to read: a child in a background group must never touch a terminal.
    int error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    // dup2 clears close-on-exec on the targets; nothing else of ours leaks into the child.
    if (error == 0) {
        error = posix_spawn_file_actions_adddup2(&actions, standardOutput, STDOUT_FILENO);
    }
    if (error == 0) {
        error = posix_spawn_file_actions_adddup2(&actions, standardError, STDERR_FILENO);
    }
    if (error == 0) {
        error = posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    }
    if (error != 0) {
        throwErrno(error, "posix_spawn_file_actions");
    }

    // A group of its own, so that the one SIGTERM also reaches the helpers the
    // child forks (lsof runs its kernel calls in one).
    posix_spawnattr_t attributes;
    if (const int attributesError = posix_spawnattr_init(&attributes)) {
        throwErrno(attributesError, "posix_spawnattr_init");
    }
    struct AttributesGuard {
        posix_spawnattr_t* attributes;
        ~AttributesGuard() { posix_spawnattr_destroy(attributes); }
    } attributesGuard{&attributes};
    error = posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    if (error == 0) {
        error = posix_spawnattr_setpgroup(&attributes, 0);
    }
    if (error != 0) {
        throwErrno(error, "posix_spawnattr");
    }

    std::vector<char*> argv;
    argv.reserve(arguments_.size() + 2);
    argv.push_back(const_cast<char*>(executable_.c_str()));
    for (const auto& argument : arguments_) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    pid_t pid = -1;
    if (const int spawnError =
            posix_spawn(&pid, executable_.c_str(), &actions, &attributes, argv.data(), environ)) {
        throw CommandLaunchError(spawnError);
    }
    {
        std::lock_guard lock(mutex_);
        pid_ = pid;
    }
    pidfd_ = openPidfd(pid);
    if (pidfd_ < 0) {
        // Without a pidfd there is no way to wait for the child: stop it here and
        // report the failure.
        const int openError = errno;
        stop();
        throwErrno(openError, "pidfd_open");
    }
}

void CommandExecution::cancel() {
    std::lock_guard lock(mutex_);
    cancellationRequested_ = true;
    terminateGroupLocked();
}

void CommandExecution::terminateGroupLocked() {
    if (pid_ <= 0 || reaped_ || terminateSent_) {
        return;
    }
    terminateSent_ = true;
    ::kill(-pid_, SIGTERM);
}

bool CommandExecution::isCancellationRequested() {
    std::lock_guard lock(mutex_);
    return cancellationRequested_;
}

bool CommandExecution::hasEnded() {
    std::lock_guard lock(mutex_);
    if (reaped_) {
        return true;
    }
    while (true) {
        const pid_t result = ::waitpid(pid_, &waitStatus_, WNOHANG);
        if (result == pid_) {
            reaped_ = true;
            return true;
        }
        if (result == 0) {
            return false;
        }
        if (errno != EINTR) {
            throwErrno(errno, "waitpid");
        }
    }
}

void CommandExecution::waitForExit(std::chrono::milliseconds interval) const {
    if (pidfd_ < 0) {
        std::this_thread::sleep_for(interval);
        return;
    }
    pollfd descriptor{pidfd_, POLLIN, 0};
    ::poll(&descriptor, 1, static_cast<int>(interval.count()));
}

void CommandExecution::stop() {
    bool ended = hasEnded();
    {
        std::lock_guard lock(mutex_);
        terminateGroupLocked();
        // Whatever happens next, no signal follows: not even a late cancellation.
        terminateSent_ = true;
    }
    const auto graceDeadline = Clock::now() + stopGrace;
    while (!ended && Clock::now() < graceDeadline) {
        waitForExit(stopPollInterval);
        ended = hasEnded();
    }
    if (!ended) {
        abandonChild();
    }
}

void CommandExecution::abandonChild() {
    // Never a second signal. A thread of its own waits for the child to end on
    // its own so that it does not linger as a zombie.
    try {
        std::thread([pid = pid_] {
            int status = 0;
            while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
        }).detach();
    } catch (const std::system_error&) {
        // No thread to spare: the child stays unreaped until Tovo exits.
    }
}

} // namespace tovo
