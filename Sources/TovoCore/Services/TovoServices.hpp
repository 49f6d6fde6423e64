#pragma once

#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <optional>
#include <vector>

// The six capabilities through which the workflow reaches the system. Asynchronous
// operations take their arguments by value: a lazily started task must own them.

namespace tovo {

class VolumeProviding {
public:
    virtual ~VolumeProviding() = default;
    /// The ejectable external disks now mounted, in display order.
    virtual Task<std::vector<ExternalDisk>> mountedExternalDisks() = 0;
};

class DiskEjecting {
public:
    virtual ~DiskEjecting() = default;
    /// Unmounts every volume of the disk and ejects it; throws `EjectionFailure`.
    virtual Task<void> eject(ExternalDisk disk) = 0;
};

class BlockerDiagnosing {
public:
    virtual ~BlockerDiagnosing() = default;
    /// The processes holding files open on the disk.
    virtual Task<std::vector<BlockingProcess>> blockers(ExternalDisk disk) = 0;
};

/// A diagnoser that can also take the process the system named when it refused.
class DissentAwareBlockerDiagnosing : public BlockerDiagnosing {
public:
    using BlockerDiagnosing::blockers;
    virtual Task<std::vector<BlockingProcess>>
    blockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID) = 0;
};

class ProcessReleasing {
public:
    virtual ~ProcessReleasing() = default;
    /// One plan per process, same order. Planning may consult the live system (its
    /// process table, the session bus, the display), so it is asynchronous. By default
    /// every process is left to the user.
    virtual Task<std::vector<ProcessReleasePlan>>
    planRelease(std::vector<BlockingProcess> processes) const;
    /// One attempt per process asked. Never throws: outcomes are attempts.
    virtual Task<std::vector<ReleaseAttempt>>
    requestRelease(std::vector<BlockingProcess> processes) = 0;
};

class ProcessStopping {
public:
    virtual ~ProcessStopping() = default;
    /// Asynchronous for the same reason as release planning.
    virtual Task<ProcessStopPlan> planStop(BlockingProcess process) const = 0;
    /// Never throws: the outcome is the attempt.
    virtual Task<ReleaseAttempt> requestStop(BlockingProcess process) = 0;
};

} // namespace tovo
