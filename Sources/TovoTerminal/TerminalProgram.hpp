#pragma once

#include "Tovo/Support/ProcessPresentation.hpp"
#include "Tovo/Support/ServiceGraph.hpp"
#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoCore/Services/BusyCauseFinding.hpp"
#include "TovoCore/Services/Logger.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"
#include "TovoTerminal/DiskArgument.hpp"
#include "TovoTerminal/ExitCode.hpp"
#include "TovoTerminal/MainLoopExecutor.hpp"
#include "TovoTerminal/ProgressLine.hpp"
#include "TovoTerminal/TerminalOptions.hpp"
#include "TovoTerminal/TerminalStyle.hpp"

#include <deque>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>

namespace tovo {

/// Where the program's services come from and where it talks to the person.
struct TerminalEnvironment {
    std::function<ServiceGraph(Executor&)> makeServices;
    DiskDeviceNames deviceNames;
    Logger& logger;
    std::istream& input;
    std::ostream& output;
    std::ostream& errors;
    bool inputIsTerminal;
    /// Progress is redrawn in place only on a terminal.
    bool outputIsTerminal;
    bool colour;
    /// The terminal's width; 0 when unknown.
    std::size_t columns = 0;
    /// Replaces the service graph's finder of holders besides processes (mounts on
    /// top, swap, disk images); absent: the graph's own.
    std::function<std::shared_ptr<BusyCauseFinding>(Executor&)> makeCauseFinder = {};
};

/// One `tovo` command: the window's workflow driven from a terminal, on a main loop
/// of its own, with the window's texts and rules.
class TerminalProgram {
public:
    TerminalProgram(TerminalOptions options, TerminalEnvironment environment);
    TerminalProgram(const TerminalProgram&) = delete;
    TerminalProgram& operator=(const TerminalProgram&) = delete;

    ExitCode run();

private:
    ExitCode list();
    ExitCode why();
    ExitCode eject();
    ExitCode dryRun(const ExternalDisk& disk);
    ExitCode blocked(const ExternalDisk& disk);
    /// The disk DISK names, selected in the workflow; absent after printing why not.
    std::optional<ExternalDisk> refreshAndSelect(ExitCode& exit);
    /// The stop that --stop asks for next, confirmed; false when none is left to send.
    bool stopNextNamedProcess(const ExternalDisk& disk);
    void printStopHints(const ExternalDisk& disk);
    bool confirm(const std::string& confirmTitle);
    ExitCode fail(const std::string& title, const std::string& message);

    /// Runs a workflow operation to its end, showing its progress.
    void drive(Task<void> operation);
    /// Runs a service call to its end; its error lands in `error`.
    template<class T>
    std::optional<T> complete(Task<T> task, std::exception_ptr& error,
                              std::optional<std::string> progress);
    void runToEnd(const TaskHandle& handle,
                  const std::function<std::optional<std::string>()>& status);

    TerminalOptions options_;
    TerminalEnvironment environment_;
    TerminalStyle style_;
    ProgressLine progress_;
    MainLoopExecutor executor_;
    std::unique_ptr<Clock> clock_;
    ServiceGraph services_;
    std::shared_ptr<BusyCauseFinding> causeFinder_;
    std::unique_ptr<TovoWorkflow> workflow_;
    ProcessPresentation presentation_;
    std::deque<std::int32_t> pendingStops_;
};

} // namespace tovo
