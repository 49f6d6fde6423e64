#include "TovoTerminal/TerminalOptions.hpp"

#include "Tovo/Support/Typography.hpp"

#include <algorithm>
#include <array>
#include <charconv>

namespace tovo {

namespace {

constexpr std::array scenarios{DemoScenarioKind::tovoable, DemoScenarioKind::blocked,
                               DemoScenarioKind::ready, DemoScenarioKind::layered};

std::optional<TerminalCommand> commandNamed(std::string_view name) {
    if (name == "list") {
        return TerminalCommand::list;
    }
    if (name == "why") {
        return TerminalCommand::why;
    }
    if (name == "eject") {
        return TerminalCommand::eject;
    }
    return std::nullopt;
}

std::string_view commandName(TerminalCommand command) {
    switch (command) {
    case TerminalCommand::list:
        return "list";
    case TerminalCommand::why:
        return "why";
    case TerminalCommand::eject:
        return "eject";
    }
    return {};
}

// Decimal digits only, within a pid's range; 0 and negatives name no single process.
std::optional<std::int32_t> processID(std::string_view text) {
    std::int32_t value = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end || value <= 0 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    return value;
}

UsageError onlyWith(std::string_view option, std::string_view commands) {
    return UsageError{curlyQuoted(option) + " works only with " + std::string(commands) + "."};
}

} // namespace

ParsedCommandLine parseTerminalArguments(std::span<const std::string> arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    for (auto it = arguments.begin(); it != end; ++it) {
        if (*it == "--help" || *it == "-h") {
            return TerminalInformation::help;
        }
    }
    for (auto it = arguments.begin(); it != end; ++it) {
        if (*it == "--version") {
            return TerminalInformation::version;
        }
    }

    std::vector<std::string> positional;
    bool json = false;
    bool dryRun = false;
    bool assumeYes = false;
    std::vector<std::int32_t> stops;
    std::optional<DemoScenarioKind> scenario;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (arguments.begin() + static_cast<std::ptrdiff_t>(index) == end) {
            positional.insert(positional.end(), end + 1, arguments.end());
            break;
        }
        if (argument == "--json") {
            json = true;
        } else if (argument == "--dry-run" || argument == "-n") {
            dryRun = true;
        } else if (argument == "--yes" || argument == "-y") {
            assumeYes = true;
        } else if (argument == "--stop" || argument.starts_with("--stop=")) {
            std::string value;
            if (argument == "--stop") {
                if (index + 1 >= arguments.size()) {
                    return UsageError{curlyQuoted("--stop") + " needs a process id."};
                }
                value = arguments[++index];
            } else {
                value = argument.substr(7);
            }
            const auto pid = processID(value);
            if (!pid) {
                return UsageError{curlyQuoted(value) + " is not a process id."};
            }
            if (std::find(stops.begin(), stops.end(), *pid) == stops.end()) {
                stops.push_back(*pid);
            }
        } else if (const auto named = std::find_if(
                       scenarios.begin(), scenarios.end(),
                       [&](DemoScenarioKind kind) { return switchName(kind) == argument; });
                   named != scenarios.end()) {
            if (scenario && scenario != *named) {
                return UsageError{"Choose one demo: --demo-tovoable, --demo-blocked, "
                                  "--demo-ready or --demo-layered."};
            }
            scenario = *named;
        } else if (argument.size() > 1 && argument.front() == '-') {
            return UsageError{"Unknown option " + curlyQuoted(argument) + "."};
        } else {
            positional.push_back(argument);
        }
    }

    if (positional.empty()) {
        return UsageError{"Name a command: list, why or eject."};
    }
    const auto command = commandNamed(positional.front());
    if (!command) {
        return UsageError{"Unknown command " + curlyQuoted(positional.front()) +
                          ". The commands are list, why and eject."};
    }
    const std::size_t expected = *command == TerminalCommand::list ? 1 : 2;
    if (positional.size() < expected) {
        return UsageError{curlyQuoted(commandName(*command)) +
                          " needs a disk: its id, a device path such as /dev/sdb, or a mount "
                          "point."};
    }
    if (positional.size() > expected) {
        return UsageError{"Unexpected argument " + curlyQuoted(positional[expected]) + "."};
    }
    if (json && *command == TerminalCommand::eject) {
        return onlyWith("--json", "list and why");
    }
    if (*command != TerminalCommand::eject) {
        if (dryRun) {
            return onlyWith("--dry-run", "eject");
        }
        if (assumeYes) {
            return onlyWith("--yes", "eject");
        }
        if (!stops.empty()) {
            return onlyWith("--stop", "eject");
        }
    }
    TerminalOptions options{*command,  expected == 2 ? std::optional(positional[1]) : std::nullopt,
                            json,      dryRun,
                            assumeYes, std::move(stops),
                            scenario};
    return options;
}

} // namespace tovo
