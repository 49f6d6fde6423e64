#pragma once

#include "Support/TaskRunning.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <signal.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tovo::testing {

/// A helper program built from Tests/Helpers.
inline std::filesystem::path helperProgram(const std::string& name) {
    const char* folder = std::getenv("TOVO_TEST_HELPERS");
    return std::filesystem::path(folder ? folder : ".") / name;
}

/// A fresh empty folder, removed with everything in it at the end of the scope.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tovo-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed");
        }
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    bool isEmpty() const { return std::filesystem::is_empty(path_); }

private:
    std::filesystem::path path_;
};

/// Polls for `condition` (real time; integration tests only).
template<class Condition>
bool eventually(Condition condition,
                std::chrono::milliseconds limit = std::chrono::milliseconds(10'000)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

inline std::optional<std::string> readText(const std::filesystem::path& path) {
    std::ifstream file(path);
    return file ? std::optional(std::string(std::istreambuf_iterator<char>(file), {}))
                : std::nullopt;
}

/// Writes `text` to `path`, making its folders first.
inline void writeText(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

/// Waits for a helper to write its pid into `pidFile`.
inline pid_t awaitPidFile(const std::filesystem::path& pidFile) {
    std::optional<std::string> text;
    eventually([&] {
        text = readText(pidFile);
        return text && !text->empty() && text->back() == '\n';
    });
    return text && !text->empty() ? static_cast<pid_t>(std::stol(*text)) : -1;
}

/// The process state letter of /proc/<pid>/stat ('Z' for a zombie); none when gone.
inline std::optional<char> processState(pid_t pid) {
    const auto stat = readText("/proc/" + std::to_string(pid) + "/stat");
    const auto close = stat ? stat->rfind(')') : std::string::npos;
    if (close == std::string::npos || close + 2 >= stat->size()) {
        return std::nullopt;
    }
    return (*stat)[close + 2];
}

inline bool isAliveAndNotZombie(pid_t pid) {
    const auto state = processState(pid);
    return state && *state != 'Z' && *state != 'X';
}

struct ChildOptions {
    std::vector<std::string> environment = {}; ///< added to ours
    std::filesystem::path folder = ".";
    std::filesystem::path output = "/dev/null"; ///< standard output and error
    int stopSignal = SIGKILL;                   ///< the test's own clean-up, never Tovo's
};

/// A child of the test process itself, signalled with `stopSignal` and reaped at the
/// end of its scope.
class TestChild {
public:
    explicit TestChild(std::vector<std::string> arguments, ChildOptions options = {})
        : stopSignal_(options.stopSignal) {
        // env(1) adds the variables and execs in place, so the pid stays the program's.
        if (!options.environment.empty()) {
            arguments.insert(arguments.begin(), options.environment.begin(),
                             options.environment.end());
            arguments.insert(arguments.begin(), "/usr/bin/env");
        }
        // Everything the child needs is prepared before fork: other threads may hold
        // the allocator's lock, so the child only redirects, changes folder and executes.
        std::vector<char*> argv;
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        const int output =
            ::open(options.output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        pid_ = ::fork();
        if (pid_ == 0) {
            if (::dup2(output, 1) == 1 && ::dup2(output, 2) == 2 &&
                ::chdir(options.folder.c_str()) == 0) {
                ::execv(argv[0], argv.data());
            }
            ::_exit(127);
        }
        ::close(output);
    }
    ~TestChild() { end(); }
    TestChild(const TestChild&) = delete;
    TestChild& operator=(const TestChild&) = delete;

    pid_t pid() const { return pid_; }
    /// Reaps the child if it has exited; true once it is gone.
    bool hasExited() {
        if (pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
        }
        return pid_ <= 0;
    }
    void end() {
        if (pid_ > 0) {
            ::kill(pid_, stopSignal_);
            EXPECT_TRUE(eventually([this] { return hasExited(); }))
                << "a test child outlived signal " << stopSignal_;
        }
    }

private:
    pid_t pid_ = -1;
    int stopSignal_;
};

inline bool isRoot() {
    return ::geteuid() == 0;
}

/// A file system of `type` mounted at `path`, made with its parents, for the scope (root only).
class MountAt {
public:
    explicit MountAt(std::filesystem::path path, const char* type = "tmpfs",
                     const char* options = "size=4m")
        : path_(std::move(path)) {
        std::filesystem::create_directories(path_);
        mounted_ = ::mount(type, path_.c_str(), type, 0, options) == 0;
    }
    ~MountAt() { unmount(); }
    MountAt(const MountAt&) = delete;
    MountAt& operator=(const MountAt&) = delete;

    bool isMounted() const { return mounted_; }
    const std::filesystem::path& path() const { return path_; }
    void unmount() {
        if (mounted_ && ::umount2(path_.c_str(), 0) != 0) {
            ::umount2(path_.c_str(), MNT_DETACH);
        }
        mounted_ = false;
    }

private:
    std::filesystem::path path_;
    bool mounted_ = false;
};

/// A tmpfs on a fresh folder.
class TmpfsMount : private TemporaryFolder, public MountAt {
public:
    explicit TmpfsMount(const std::string& options = "size=4m")
        : MountAt(TemporaryFolder::path(), "tmpfs", options.c_str()) {}
    using MountAt::path;
};

} // namespace tovo::testing
