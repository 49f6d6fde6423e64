#pragma once

#include "Tovo/Support/ServiceGraph.hpp"
#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <vector>

namespace tovo {

/// What keeps one disk busy, and what Tovo may do about each holder: what `why`
/// prints, and what a blocked eject prints before it asks.
///
/// Holders that are not processes (a swap area, a mount on top, a loop device's
/// backing file) belong here as a list of their own beside `blockers`; the text and
/// JSON output print them after the processes, in the "otherCauses" slot.
struct DiskDiagnosis {
    ExternalDisk disk;
    std::vector<BlockingProcess> blockers;
    std::vector<ProcessReleasePlan> releasePlans;
    std::vector<ProcessStopPlan> stopPlans;
    /// What became of Tovo's latest requests; empty before it asked anything.
    std::vector<ReleaseAttempt> releaseAttempts;

    bool isBusy() const { return !blockers.empty(); }
};

/// Asks the services who holds `disk` and plans each holder, changing nothing: no
/// eject is tried, no app is asked and no process is stopped.
Task<DiskDiagnosis> diagnoseDisk(const ServiceGraph& services, ExternalDisk disk);

/// The workflow's published diagnosis of its selected disk.
DiskDiagnosis publishedDiagnosis(const TovoWorkflow& workflow, const ExternalDisk& disk);

} // namespace tovo
