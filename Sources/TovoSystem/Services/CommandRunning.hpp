#pragma once

#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/Error.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
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
    explicit CommandRunnerError(Kind kind) : kind(kind) {}

    Kind kind;
    std::string description() const override;
    std::string domain() const override { return "TovoSystem.CommandRunnerError"; }
    std::int64_t code() const override { return static_cast<std::int64_t>(kind); }
};

/// Runs one program by absolute path with verbatim arguments; no shell, no search path.
class CommandRunning {
public:
    virtual ~CommandRunning() = default;
    virtual Task<CommandResult> run(std::filesystem::path executable,
                                    std::vector<std::string> arguments) = 0;
};

} // namespace tovo
