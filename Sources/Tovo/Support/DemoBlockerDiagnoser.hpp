#pragma once

#include "Tovo/Support/DemoScenario.hpp"
#include "TovoCore/Services/TovoServices.hpp"

#include <memory>

namespace tovo {

/// Reports the scenario's blockers as they are now.
class DemoBlockerDiagnoser final : public BlockerDiagnosing {
public:
    explicit DemoBlockerDiagnoser(std::shared_ptr<DemoScenario> scenario)
        : scenario_(std::move(scenario)) {}
    Task<std::vector<BlockingProcess>> blockers(ExternalDisk disk) override;

private:
    std::shared_ptr<DemoScenario> scenario_;
};

} // namespace tovo
