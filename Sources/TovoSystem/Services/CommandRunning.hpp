#pragma once

#include "TovoCore/Models/Error.hpp"

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>
#include <system_error>
#include <vector>

namespace tovo {

/// What a finished child left: its exit status and both output streams as bytes.
struct CommandResult {
    std::int32_t status;
    std::string standardOutput;
    std::string standardError;

    /// Standard error decoded (malformed bytes replaced) and trimmed.
    std::string errorText() const;
    bool operator==(const CommandResult&) const = default;
};

class CommandRunnerError final : public Error {
public:
    enum class Kind { couldNotCreateTemporaryFiles, timedOut };
    explicit CommandRunnerError(Kind kind)
        : kind(kind) {}

    Kind kind;
    std::string description() const override;
    std::string domain() const override { return "TovoSystem.CommandRunnerError"; }
    std::int64_t code() const override { return static_cast<std::int64_t>(kind); }
};

/// The program could not be started at all (missing, not executable, no resources);
/// the code is the error the launch reported.
class CommandLaunchError final : public std::system_error {
public:
    explicit CommandLaunchError(int error)
        : std::system_error(error, std::generic_category(), "posix_spawn") {}
};

/// Runs one program by absolute path with verbatim arguments; no shell, no search path.
class CommandRunning {
public:
    virtual ~CommandRunning() = default;
    /// Blocks the calling thread (a worker, never the main one) until the program has
    /// ended; a stop request ends the run with `CancellationError`.
    virtual CommandResult runSynchronously(std::filesystem::path executable,
                                           std::vector<std::string> arguments,
                                           std::stop_token stop) = 0;
};

} // namespace tovo
