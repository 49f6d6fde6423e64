#pragma once

#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/BusyCause.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <vector>

namespace tovo {

/// Finds what keeps a disk busy besides the processes that hold files on it, and
/// carries out the plans Tovo may carry out. Beside the six service interfaces.
class BusyCauseFinding {
public:
    virtual ~BusyCauseFinding() = default;
    /// Every cause, each with its plan, in a stable order. `processesFound`: whether
    /// the diagnosis named any process; the unseen-processes cause is reported only
    /// when it named none and nothing else explains the refusal.
    virtual Task<std::vector<BusyCause>> causes(ExternalDisk disk, bool processesFound) = 0;
    /// Carries out `cause.plan` once. Never throws: the outcome is the attempt.
    virtual Task<BusyCauseAttempt> resolve(BusyCause cause) = 0;
};

} // namespace tovo
