#pragma once

#include "Tovo/Support/DemoScenario.hpp"
#include "TovoCore/Services/TovoServices.hpp"

#include <memory>

namespace tovo {

/// Plans and "performs" release and stop over the scenario. Nothing is signalled
/// and no application is contacted: a release with automatic quit allowed, and
/// any stop, simply clears every blocker.
class DemoProcessReleaser final : public ProcessReleasing, public ProcessStopping {
public:
    DemoProcessReleaser(std::shared_ptr<DemoScenario> scenario, bool allowsAutomaticQuit)
        : scenario_(std::move(scenario))
        , allowsAutomaticQuit_(allowsAutomaticQuit) {}

    Task<std::vector<ProcessReleasePlan>>
    planRelease(std::vector<BlockingProcess> processes) const override;
    Task<std::vector<ReleaseAttempt>>
    requestRelease(std::vector<BlockingProcess> processes) override;

    Task<ProcessStopPlan> planStop(BlockingProcess process) const override;
    Task<ReleaseAttempt> requestStop(BlockingProcess process) override;

    bool allowsAutomaticQuit() const { return allowsAutomaticQuit_; }

private:
    std::vector<ProcessReleasePlan> plansFor(const std::vector<BlockingProcess>& processes) const;
    ProcessStopPlan stopPlanFor(const BlockingProcess& process) const;

    std::shared_ptr<DemoScenario> scenario_;
    bool allowsAutomaticQuit_;
};

} // namespace tovo
