#include "Tovo/Support/Announcements.hpp"

namespace tovo {

std::optional<std::string> announcement(const EjectionPhase& phase) {
    if (phase.is<EjectionPhase::Ready>()) {
        return std::nullopt;
    }
    if (phase.is<EjectionPhase::Ejecting>()) {
        return "Checking the disk.";
    }
    if (phase.is<EjectionPhase::Diagnosing>()) {
        return "Finding what is using the disk.";
    }
    if (phase.is<EjectionPhase::Blocked>()) {
        return "The disk is still in use.";
    }
    if (phase.is<EjectionPhase::Releasing>()) {
        return "Asking eligible apps to quit.";
    }
    if (phase.is<EjectionPhase::Retrying>()) {
        return "The blockers are gone. Ejecting the disk.";
    }
    if (const auto* stopping = phase.getIf<EjectionPhase::Stopping>()) {
        return "Stopping " + stopping->name + ".";
    }
    if (const auto* ejected = phase.getIf<EjectionPhase::Ejected>()) {
        return ejected->name + " ejected safely.";
    }
    const auto& failed = *phase.getIf<EjectionPhase::Failed>();
    return failed.title + ". " + failed.message;
}

} // namespace tovo
