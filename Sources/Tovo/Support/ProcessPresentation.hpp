#pragma once

#include "Tovo/Support/PresentationColors.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// Turns a blocking process into what a person reads: a name, a symbol, one
/// sentence about what it holds, labels for its open files, and the status mark
/// of its plan or attempt. The registry (absent in demo mode) names desktop
/// applications and finds the one that can be brought to the front.
class ProcessPresentation {
public:
    /// How names come out: as the system gave them (for machine-readable output), or
    /// with control characters shown as symbols (for a person's eyes).
    enum class Names { raw, readable };

    explicit ProcessPresentation(const ApplicationDirectory* registry = nullptr,
                                 Names names = Names::raw)
        : registry_(registry)
        , names_(names) {}

    /// "Virtual Machine", "File Indexer", the desktop entry's name, else the command.
    std::string name(const BlockingProcess& process) const;
    /// The application that can be brought to the front: the process's own, else
    /// its parent application's; never a background-only one.
    std::optional<RunningApplication> showableApplication(const BlockingProcess& process) const;
    /// The theme icon of the process's own desktop application (its application
    /// id); absent when it is none, and the fallback symbol is shown instead.
    std::optional<std::string> applicationIconName(const BlockingProcess& process) const;

    /// System symbol shown when no application icon is known.
    static std::string fallbackSymbol(const BlockingProcess& process);
    /// One sentence on why this process keeps the disk busy.
    static std::string activity(const BlockingProcess& process);
    /// An open file's line in the details: its path, the current folder marked.
    static std::string label(const OpenFileReference& file);

    /// The row's status mark: the attempt when there is one (the newer fact), else the plan.
    static std::string statusSymbol(const std::optional<ProcessReleasePlan>& plan,
                                    const std::optional<ReleaseAttempt>& attempt);
    static SymbolColor statusSymbolColor(const std::optional<ProcessReleasePlan>& plan,
                                         const std::optional<ReleaseAttempt>& attempt);
    /// Primary when the user has to act, secondary otherwise.
    static TextColor messageColor(const std::optional<ProcessReleasePlan>& plan,
                                  const std::optional<ReleaseAttempt>& attempt);

    /// A virtual machine: a known program, or a command naming the virtualization
    /// framework's machine (case-insensitive containment).
    static bool isVirtualMachine(const BlockingProcess& process);
    /// One of the desktop's file indexers.
    static bool isFileIndexer(const BlockingProcess& process);

private:
    std::string plainName(const BlockingProcess& process) const;

    const ApplicationDirectory* registry_;
    Names names_;
};

} // namespace tovo
