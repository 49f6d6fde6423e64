#include "TovoCore/Models/EjectionState.hpp"

namespace tovo {

std::string_view name(FailureRecovery recovery) {
    return recovery == FailureRecovery::refreshDisks ? "refreshDisks" : "retryEject";
}

bool EjectionPhase::isBusy() const {
    return is<Ejecting>() || is<Diagnosing>() || is<Releasing>() || is<Retrying>() ||
           is<Stopping>();
}

bool EjectionPhase::allowsDiskSelection() const {
    if (const auto* failure = getIf<Failed>()) {
        return failure->recovery == FailureRecovery::retryEject;
    }
    return is<Ready>() || is<Blocked>();
}

std::string_view EjectionPhase::caseName() const {
    static constexpr std::string_view names[] = {"ready",    "ejecting",  "diagnosing",
                                                 "blocked",  "releasing", "retrying",
                                                 "stopping", "ejected",   "failed"};
    return names[value_.index()];
}

std::string_view name(ReleaseDisposition disposition) {
    switch (disposition) {
    case ReleaseDisposition::requested:
        return "requested";
    case ReleaseDisposition::alreadyClosed:
        return "alreadyClosed";
    case ReleaseDisposition::needsManualAction:
        return "needsManualAction";
    case ReleaseDisposition::failed:
        break;
    }
    return "failed";
}

std::string_view name(EjectionFailureKind kind) {
    switch (kind) {
    case EjectionFailureKind::busy:
        return "busy";
    case EjectionFailureKind::identityChanged:
        return "identityChanged";
    case EjectionFailureKind::other:
        break;
    }
    return "other";
}

std::string_view name(ReleaseStrategy strategy) {
    return strategy == ReleaseStrategy::quitApplication ? "quitApplication" : "manualAction";
}

std::string_view name(StopMethod method) {
    switch (method) {
    case StopMethod::quitApplication:
        return "quitApplication";
    case StopMethod::terminateProcess:
        return "terminateProcess";
    case StopMethod::unavailable:
        break;
    }
    return "unavailable";
}

} // namespace tovo
