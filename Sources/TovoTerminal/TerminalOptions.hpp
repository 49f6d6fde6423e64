#pragma once

#include "Tovo/Support/LaunchOptions.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace tovo {

enum class TerminalCommand { list, why, eject };

/// What one `tovo` command line asks for.
struct TerminalOptions {
    TerminalCommand command;
    /// A disk id, a device path, a mount point or a disk's name; why and eject only.
    std::optional<std::string> disk;
    bool json = false;
    bool dryRun = false;
    bool assumeYes = false;
    /// Processes the user named for one stop request each, in the order given.
    std::vector<std::int32_t> stopProcessIDs;
    std::optional<DemoScenarioKind> demoScenario;

    bool operator==(const TerminalOptions&) const = default;
};

/// --help and --version answer at once, whatever else the line holds.
enum class TerminalInformation { help, version };

/// A command line that cannot run, with the sentence that says why.
struct UsageError {
    std::string message;

    bool operator==(const UsageError&) const = default;
};

using ParsedCommandLine = std::variant<TerminalOptions, TerminalInformation, UsageError>;

/// Reads the arguments after the program name. Options may stand anywhere; `--`
/// ends them. Every option that does not fit the command is an error, never ignored.
ParsedCommandLine parseTerminalArguments(std::span<const std::string> arguments);

} // namespace tovo
