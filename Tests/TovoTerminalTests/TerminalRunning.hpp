#pragma once

#include "Support/RecordingLogger.hpp"
#include "TovoTerminal/TerminalProgram.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace tovo::testing {

struct TerminalRun {
    ExitCode exit;
    std::string output;
    std::string errors;
};

/// One `tovo` command in this process, its answers typed into a pipe.
inline TerminalRun
runTerminal(std::vector<std::string> arguments, const std::string& answers,
            std::function<ServiceGraph(Executor&)> services,
            DiskDeviceNames deviceNames = wholeDiskDeviceName,
            std::function<std::shared_ptr<BusyCauseFinding>(Executor&)> causes = {}) {
    RecordingLogger logger;
    std::istringstream input(answers);
    std::ostringstream output;
    std::ostringstream errors;
    TerminalEnvironment environment(std::move(services), std::move(deviceNames), logger, input,
                                    output, errors, false, false, false, 0, std::move(causes));
    const auto parsed = parseTerminalArguments(arguments);
    EXPECT_TRUE(std::holds_alternative<TerminalOptions>(parsed));
    const auto exit = TerminalProgram(std::get<TerminalOptions>(parsed), environment).run();
    return {exit, output.str(), errors.str()};
}

} // namespace tovo::testing
