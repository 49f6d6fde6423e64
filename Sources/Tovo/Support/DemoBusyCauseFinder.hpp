#pragma once

#include "Tovo/Support/DemoScenario.hpp"
#include "TovoCore/Services/BusyCauseFinding.hpp"

#include <memory>

namespace tovo {

/// Reports the scenario's causes as they are now; releasing one removes it.
class DemoBusyCauseFinder final : public BusyCauseFinding {
public:
    explicit DemoBusyCauseFinder(std::shared_ptr<DemoScenario> scenario)
        : scenario_(std::move(scenario)) {}
    Task<std::vector<BusyCause>> causes(ExternalDisk disk, bool processesFound) override;
    Task<BusyCauseAttempt> resolve(BusyCause cause) override;

private:
    std::shared_ptr<DemoScenario> scenario_;
};

} // namespace tovo
