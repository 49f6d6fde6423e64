#pragma once

// Runs the built `tovo` as a child: standard input from a string, standard output
// and error captured apart, the exit status kept.

#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tovo::testing {

struct TerminalRun {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

inline TerminalRun runTovo(const std::vector<std::string>& arguments, const std::string& input = "",
                           const std::vector<std::string>& environment = {}) {
    TemporaryFolder folder;
    const auto inputPath = folder.path() / "input";
    const auto outputPath = folder.path() / "output";
    const auto errorsPath = folder.path() / "errors";
    if (FILE* file = std::fopen(inputPath.c_str(), "w")) {
        std::fwrite(input.data(), 1, input.size(), file);
        std::fclose(file);
    }
    std::vector<std::string> argv{"/usr/bin/env", "-u", "NO_COLOR"};
    argv.insert(argv.end(), environment.begin(), environment.end());
    argv.push_back(TOVO_TERMINAL_PROGRAM);
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    // Everything is prepared before fork: the child only redirects and executes.
    std::vector<char*> raw;
    for (auto& argument : argv) {
        raw.push_back(argument.data());
    }
    raw.push_back(nullptr);
    const int in = ::open(inputPath.c_str(), O_RDONLY | O_CLOEXEC);
    const int out = ::open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const int err = ::open(errorsPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (::dup2(in, STDIN_FILENO) >= 0 && ::dup2(out, STDOUT_FILENO) >= 0 &&
            ::dup2(err, STDERR_FILENO) >= 0) {
            ::execv(raw[0], raw.data());
        }
        ::_exit(127);
    }
    for (const int fd : {in, out, err}) {
        ::close(fd);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return TerminalRun{WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                       readText(outputPath).value_or(""), readText(errorsPath).value_or("")};
}

} // namespace tovo::testing
