#include "TovoCore/Services/TovoServices.hpp"

namespace tovo {

Task<std::vector<ProcessReleasePlan>>
ProcessReleasing::planRelease(std::vector<BlockingProcess> processes) const {
    std::vector<ProcessReleasePlan> plans;
    plans.reserve(processes.size());
    for (const auto& process : processes) {
        plans.push_back({process.pid, process.command, ReleaseStrategy::manualAction,
                         "Close this process, then try again."});
    }
    co_return plans;
}

} // namespace tovo
