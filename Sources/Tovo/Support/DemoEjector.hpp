#pragma once

#include "Tovo/Support/DemoScenario.hpp"
#include "TovoCore/Services/TovoServices.hpp"

#include <memory>

namespace tovo {

/// Refuses as busy while the scenario has blockers or other causes; otherwise "ejects" by doing
/// nothing.
class DemoEjector final : public DiskEjecting {
public:
    explicit DemoEjector(std::shared_ptr<DemoScenario> scenario)
        : scenario_(std::move(scenario)) {}
    Task<void> eject(ExternalDisk disk) override;

    /// Named as dissenter in every refusal, whoever blocks: the workflow's
    /// dissenter handling runs in every demo.
    static constexpr std::int32_t dissentingProcessID = 90294;

private:
    std::shared_ptr<DemoScenario> scenario_;
};

} // namespace tovo
