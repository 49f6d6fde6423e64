#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tovo::testing {

/// A daemon the test starts itself and stops by its pid when it goes out of scope.
class TestDaemon {
public:
    TestDaemon(const std::vector<std::string>& arguments,
               const std::vector<std::string>& environment) {
        int pipeEnds[2] = {-1, -1};
        EXPECT_EQ(pipe(pipeEnds), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
        std::vector<char*> argv;
        for (const auto& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        std::vector<char*> envp;
        for (const auto& variable : environment) {
            envp.push_back(const_cast<char*>(variable.c_str()));
        }
        envp.push_back(nullptr);
        if (posix_spawn(&pid_, argv.front(), &actions, nullptr, argv.data(), envp.data()) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        close(pipeEnds[1]);
        output_ = pipeEnds[0];
    }
    ~TestDaemon() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitForExit();
        }
        if (output_ >= 0) {
            close(output_);
        }
    }
    TestDaemon(const TestDaemon&) = delete;
    TestDaemon& operator=(const TestDaemon&) = delete;

    pid_t pid() const { return pid_; }
    /// Reaps the daemon and returns its wait status.
    int waitForExit() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return status;
    }

    /// The first line the daemon prints, waiting at most `timeout` for it to begin.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout) {
        pollfd descriptor{output_, POLLIN, 0};
        std::string line;
        char c = 0;
        if (poll(&descriptor, 1, static_cast<int>(timeout.count())) != 1) {
            return std::nullopt;
        }
        while (read(output_, &c, 1) == 1 && c != '\n') {
            line.push_back(c);
        }
        return c == '\n' ? std::optional(line) : std::nullopt;
    }

private:
    pid_t pid_ = -1;
    int output_ = -1;
};

} // namespace tovo::testing
