#include "Tovo/Support/DemoEjector.hpp"

namespace tovo {

Task<void> DemoEjector::eject(ExternalDisk) {
    const auto blockers = co_await scenario_->activeBlockers();
    const auto causes = co_await scenario_->activeCauses();
    if (!blockers.empty() || !causes.empty()) {
        throw EjectionFailure("The disk is in use.", dissentingProcessID, EjectionFailureKind::busy,
                              std::nullopt, std::nullopt);
    }
}

} // namespace tovo
