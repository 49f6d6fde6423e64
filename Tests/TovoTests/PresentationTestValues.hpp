#pragma once

#include "Support/ModelBuilders.hpp"
#include "TovoCore/Models/EjectionState.hpp"

#include <string>
#include <vector>

namespace tovo::testing {

inline ProcessReleasePlan quitPlan(std::int32_t pid, std::string message = "Tovo will ask.") {
    return ProcessReleasePlan{pid, "app", ReleaseStrategy::quitApplication, std::move(message)};
}

inline ProcessReleasePlan manualPlan(std::int32_t pid, std::string message = "Close it.") {
    return ProcessReleasePlan{pid, "app", ReleaseStrategy::manualAction, std::move(message)};
}

inline ReleaseAttempt attempt(std::int32_t pid, ReleaseDisposition disposition,
                              std::string message = "outcome") {
    return ReleaseAttempt{Uuid::random(), pid, "app", disposition, std::move(message)};
}

inline ProcessStopPlan stopPlan(std::int32_t pid, StopMethod method,
                                std::optional<std::string> warning = std::nullopt) {
    return ProcessStopPlan{pid, "app", method, "Tovo will stop it.", std::move(warning)};
}

inline OpenFileReference openFile(std::string path, std::optional<std::string> descriptor,
                                  OpenAccess access) {
    return OpenFileReference{std::move(path), std::move(descriptor), "REG", access};
}

/// A process with exactly these open files.
inline BlockingProcess processWith(std::string command, std::vector<OpenFileReference> files,
                                   std::int32_t pid = 4242) {
    auto process = makeProcess(pid, std::move(command));
    process.openFiles = std::move(files);
    return process;
}

/// One value of every phase case.
inline std::vector<EjectionPhase> everyPhase() {
    return {
        EjectionPhase::ready(),
        EjectionPhase::ejecting(),
        EjectionPhase::diagnosing(),
        EjectionPhase::blocked(),
        EjectionPhase::releasing(),
        EjectionPhase::retrying(),
        EjectionPhase::stopping("Preview"),
        EjectionPhase::ejected("345-BACKUP"),
        EjectionPhase::failed("Could not check disks", "No bus.", FailureRecovery::refreshDisks),
        EjectionPhase::failed("Tovo stopped safely", "It moved.", FailureRecovery::retryEject)};
}

} // namespace tovo::testing
