#pragma once

#include "Tovo/Support/ServiceGraph.hpp"
#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/BusyCause.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"
#include "TovoCore/Services/BusyCauseFinding.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <memory>
#include <vector>

namespace tovo {

/// What keeps one disk busy, and what Tovo may do about each holder: what `why`
/// prints, and what a blocked eject prints before it asks.
struct DiskDiagnosis {
    ExternalDisk disk;
    std::vector<BlockingProcess> blockers;
    std::vector<ProcessReleasePlan> releasePlans;
    std::vector<ProcessStopPlan> stopPlans;
    /// What became of Tovo's latest requests; empty before it asked anything.
    std::vector<ReleaseAttempt> releaseAttempts;
    /// What holds the disk besides processes (a mount on top, swap, a loop device's
    /// backing file, ...), each with its plan; printed after the processes.
    std::vector<BusyCause> causes;
    std::vector<BusyCauseAttempt> causeAttempts;

    bool isBusy() const { return !blockers.empty() || !causes.empty(); }
    /// The causes whose plan Tovo itself carries out once the user confirms.
    std::vector<BusyCause> actionableCauses() const;
};

/// Asks the services who holds `disk` and plans each holder, changing nothing: no
/// eject is tried, no app is asked, no process is stopped and no cause resolved.
/// Without a cause finder only processes are diagnosed.
Task<DiskDiagnosis> diagnoseDisk(const ServiceGraph& services,
                                 std::shared_ptr<BusyCauseFinding> causeFinder, ExternalDisk disk);

/// The workflow's published diagnosis of its selected disk.
DiskDiagnosis publishedDiagnosis(const TovoWorkflow& workflow, const ExternalDisk& disk);

} // namespace tovo
