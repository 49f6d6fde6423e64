#include "Tovo/Support/MenuPresentation.hpp"

namespace tovo::MenuPresentation {

std::string ejectCommandTitle(const EjectionPhase& phase,
                              const std::optional<ExternalDisk>& selectedDisk) {
    if (const auto* failed = phase.getIf<EjectionPhase::Failed>()) {
        return failed->recovery == FailureRecovery::retryEject ? "Try Eject Again" : "Eject Disk";
    }
    if (phase.is<EjectionPhase::Blocked>()) {
        return "Check Again";
    }
    if (selectedDisk) {
        return "Eject " + selectedDisk->displayName;
    }
    return "Eject Disk";
}

bool isEjectCommandEnabled(const EjectionPhase& phase,
                           const std::optional<ExternalDisk>& selectedDisk) {
    if (!selectedDisk) {
        return false;
    }
    if (const auto* failed = phase.getIf<EjectionPhase::Failed>()) {
        return failed->recovery == FailureRecovery::retryEject;
    }
    return phase.is<EjectionPhase::Ready>() || phase.is<EjectionPhase::Blocked>();
}

bool isRefreshCommandEnabled(const EjectionPhase& phase) {
    return phase.is<EjectionPhase::Ready>() || phase.is<EjectionPhase::Blocked>() ||
           phase.is<EjectionPhase::Failed>();
}

} // namespace tovo::MenuPresentation
