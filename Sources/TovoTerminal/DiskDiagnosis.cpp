#include "TovoTerminal/DiskDiagnosis.hpp"

namespace tovo {

Task<DiskDiagnosis> diagnoseDisk(const ServiceGraph& services, ExternalDisk disk) {
    // Named tasks: GCC 12 mishandles temporaries inside co_await.
    auto finding = services.diagnoser->blockers(disk);
    auto blockers = co_await finding;
    std::vector<ProcessReleasePlan> releasePlans;
    std::vector<ProcessStopPlan> stopPlans;
    if (!blockers.empty()) {
        auto planning = services.releaser->planRelease(blockers);
        releasePlans = co_await planning;
        if (services.stopper) {
            for (const auto& blocker : blockers) {
                auto stopPlanning = services.stopper->planStop(blocker);
                stopPlans.push_back(co_await stopPlanning);
            }
        }
    }
    co_return DiskDiagnosis{
        std::move(disk), std::move(blockers), std::move(releasePlans), std::move(stopPlans), {}};
}

DiskDiagnosis publishedDiagnosis(const TovoWorkflow& workflow, const ExternalDisk& disk) {
    return DiskDiagnosis{disk, workflow.blockers(), workflow.releasePlans(), workflow.stopPlans(),
                         workflow.releaseAttempts()};
}

} // namespace tovo
