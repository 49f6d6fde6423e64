#include "TovoTerminal/DiskDiagnosis.hpp"

#include <algorithm>
#include <iterator>

namespace tovo {

Task<DiskDiagnosis> diagnoseDisk(const ServiceGraph& services,
                                 std::shared_ptr<BusyCauseFinding> causeFinder, ExternalDisk disk) {
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
    std::vector<BusyCause> causes;
    if (causeFinder) {
        auto searching = causeFinder->causes(disk, !blockers.empty());
        causes = co_await searching;
    }
    co_return DiskDiagnosis{std::move(disk),
                            std::move(blockers),
                            std::move(releasePlans),
                            std::move(stopPlans),
                            {},
                            std::move(causes),
                            {}};
}

DiskDiagnosis publishedDiagnosis(const TovoWorkflow& workflow, const ExternalDisk& disk) {
    return DiskDiagnosis{disk,
                         workflow.blockers(),
                         workflow.releasePlans(),
                         workflow.stopPlans(),
                         workflow.releaseAttempts(),
                         workflow.busyCauses(),
                         workflow.causeAttempts()};
}

std::vector<BusyCause> DiskDiagnosis::actionableCauses() const {
    std::vector<BusyCause> actionable;
    std::ranges::copy_if(causes, std::back_inserter(actionable), [](const BusyCause& cause) {
        return cause.plan.action != BusyCauseAction::none;
    });
    return actionable;
}

} // namespace tovo
