#include "Tovo/Support/ServiceGraph.hpp"
#include "TovoSystem/Linux/JournalLogger.hpp"
#include "TovoTerminal/TerminalHelp.hpp"
#include "TovoTerminal/TerminalProgram.hpp"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

std::size_t terminalColumns() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) {
        return 0;
    }
    return size.ws_col;
}

} // namespace

int main(int argc, char** argv) {
    using namespace tovo;
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    const auto parsed = parseTerminalArguments(arguments);
    if (const auto* information = std::get_if<TerminalInformation>(&parsed)) {
        std::cout << (*information == TerminalInformation::help ? terminalHelpText()
                                                                : terminalVersionText());
        return toInt(ExitCode::ejected);
    }
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        std::cerr << "tovo: " << error->message << '\n' << terminalHelpHint();
        return toInt(ExitCode::usage);
    }
    const auto& options = std::get<TerminalOptions>(parsed);

    JournalLogger logger;
    const bool outputIsTerminal = ::isatty(STDOUT_FILENO) == 1;
    TerminalEnvironment environment{
        [scenario = options.demoScenario](Executor& executor) {
            return scenario ? makeDemoServiceGraph(*scenario, executor)
                            : makeSystemServiceGraph(executor);
        },
        options.demoScenario ? DiskDeviceNames(wholeDiskDeviceName)
                             : DiskDeviceNames(sysfsDeviceNames),
        logger,
        std::cin,
        std::cout,
        std::cerr,
        ::isatty(STDIN_FILENO) == 1,
        outputIsTerminal,
        TerminalStyle::wantsColour(outputIsTerminal, std::getenv("NO_COLOR"), std::getenv("TERM")),
        terminalColumns()};
    try {
        TerminalProgram program(options, environment);
        return toInt(program.run());
    } catch (...) {
        std::cerr << "tovo: " << readableMessage(std::current_exception()) << '\n';
        return toInt(ExitCode::failed);
    }
}
