#pragma once

#include "Tovo/Support/LaunchOptions.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/BusyCauseFinding.hpp"
#include "TovoCore/Services/TovoServices.hpp"
#include "TovoCore/Services/WriteOutMonitoring.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"

#include <cstdint>
#include <memory>

namespace tovo {

/// Everything the workflow is built on, and whatever must live as long as it.
struct ServiceGraph {
    std::shared_ptr<VolumeProviding> volumeProvider;
    std::shared_ptr<DiskEjecting> ejector;
    std::shared_ptr<BlockerDiagnosing> diagnoser;
    std::shared_ptr<ProcessReleasing> releaser;
    std::shared_ptr<ProcessStopping> stopper;
    std::uint64_t settleDelayNanoseconds;
    std::uint64_t releaseTimeoutNanoseconds;
    /// Names applications and brings them to the front; absent in demo mode.
    std::shared_ptr<ApplicationRegistry> registry;
    /// Collaborators the services hold by reference.
    std::shared_ptr<void> owned;
    /// Shows what is still to be written while an eject runs; absent: nothing shown.
    std::shared_ptr<WriteOutMonitoring> writeOutMonitor = nullptr;
    /// Finds what keeps a disk busy besides processes; absent: processes only.
    std::shared_ptr<BusyCauseFinding> causeFinder = nullptr;
};

/// The sample services of one demo run.
ServiceGraph makeDemoServiceGraph(DemoScenarioKind scenario, Executor& mainExecutor);

/// The Linux services: udev and the mount table, udisks2, lsof, /proc and the
/// desktop's applications.
ServiceGraph makeSystemServiceGraph(Executor& mainExecutor);

} // namespace tovo
