#include "TovoCore/Async/CancellationError.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <algorithm>

namespace tovo {

namespace {

std::optional<EjectionFailure> ejectionFailure(std::exception_ptr error) {
    try {
        std::rethrow_exception(error);
    } catch (const EjectionFailure& failure) {
        return failure;
    } catch (...) {
        return std::nullopt;
    }
}

std::string domainAndCode(std::exception_ptr error) {
    return "domain=" + errorDomain(error) + " code=" + std::to_string(errorCode(error));
}

} // namespace

Task<void> TovoWorkflow::attemptEject() {
    const auto disk = selectedDisk();
    if (!disk) {
        co_return;
    }
    if (phase_.isBusy()) {
        co_return;
    }
    logger_.info("Eject started");
    bumpRefreshGeneration();
    const auto operationID = beginOperation();
    clearLists();
    setPhase(EjectionPhase::ejecting());

    std::exception_ptr error;
    try {
        co_await ejector_->eject(*disk);
    } catch (...) {
        error = std::current_exception();
    }
    if (!isCurrent(operationID, disk->id)) {
        co_return;
    }
    const auto stop = co_await currentStopToken();
    if (isCancellation(error) || (!error && stop.stop_requested())) {
        failUnconfirmedEject(*disk);
        co_return;
    }
    if (!error) {
        logger_.info("Eject completed");
        finishSuccess(*disk);
        co_return;
    }

    const auto message = readableMessage(error);
    const auto failure = ejectionFailure(error);
    if (!failure || failure->kind != EjectionFailureKind::busy) {
        logEjectionFailure(error);
        const bool identityChanged =
            failure && failure->kind == EjectionFailureKind::identityChanged;
        if (identityChanged) {
            removeStaleDisk(*disk);
        }
        settle(EjectionPhase::failed("Could not eject", message,
                                     identityChanged ? FailureRecovery::refreshDisks
                                                     : FailureRecovery::retryEject));
        co_return;
    }

    logEjectionFailure(error);
    setPhase(EjectionPhase::diagnosing());
    Diagnosis found;
    std::exception_ptr diagnosisError;
    try {
        auto diagnosis = diagnose(*disk, failure->dissentingProcessID);
        found = co_await diagnosis;
    } catch (...) {
        diagnosisError = std::current_exception();
    }
    if (!isCurrent(operationID, disk->id)) {
        co_return;
    }
    if (diagnosisError) {
        logger_.error("Diagnosis failed " + domainAndCode(diagnosisError));
        settle(EjectionPhase::failed("Could not inspect this disk",
                                     message + " " + readableMessage(diagnosisError),
                                     FailureRecovery::retryEject));
        co_return;
    }
    logger_.info("Diagnosis completed blockers=" + std::to_string(found.processes.size()));
    if (!found.causes.empty()) {
        logger_.info("Diagnosis found causes=" + std::to_string(found.causes.size()));
    }
    if (!found.isEmpty()) {
        std::exception_ptr planningError;
        try {
            auto blocking = enterBlockedState(operationID, disk->id, std::move(found));
            co_await blocking;
        } catch (...) {
            planningError = std::current_exception();
        }
        if (planningError && isCurrent(operationID, disk->id)) {
            logger_.error("Diagnosis failed " + domainAndCode(planningError));
            settle(EjectionPhase::failed("Could not inspect this disk",
                                         message + " " + readableMessage(planningError),
                                         FailureRecovery::retryEject));
        }
        co_return;
    }
    settle(EjectionPhase::failed("Could not eject", message, FailureRecovery::retryEject));
}

void TovoWorkflow::finishSuccess(const ExternalDisk& disk) {
    // A refresh in flight would otherwise bring the ejected disk back.
    bumpRefreshGeneration();
    clearFindings();
    auto remaining = disks_;
    std::erase_if(remaining, [&](const ExternalDisk& listed) { return listed.id == disk.id; });
    setDisks(std::move(remaining));
    setSelectedDiskID(disks_.empty() ? std::nullopt : std::optional(disks_.front().id));
    settle(EjectionPhase::ejected(disk.displayName));
}

void TovoWorkflow::failUnconfirmedEject(const ExternalDisk& disk) {
    logger_.info("Eject cancelled before the system confirmed it");
    settle(EjectionPhase::failed(
        "Eject not confirmed",
        "Tovo stopped waiting before the system finished, so “" + disk.displayName +
            "” may still be in use or being written. Do not unplug it; eject it again first.",
        FailureRecovery::retryEject));
}

void TovoWorkflow::logEjectionFailure(std::exception_ptr error) {
    if (const auto failure = ejectionFailure(error)) {
        logger_.error("Eject failed kind=" + std::string(name(failure->kind)) +
                      " domain=" + failure->underlyingDomain.value_or("none") +
                      " code=" + std::to_string(failure->underlyingCode.value_or(0)));
        return;
    }
    logger_.error("Eject failed " + domainAndCode(error));
}

Task<std::vector<BlockingProcess>>
TovoWorkflow::diagnoseBlockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID) {
    if (auto* dissentAware = dynamic_cast<DissentAwareBlockerDiagnosing*>(diagnoser_.get())) {
        co_return co_await dissentAware->blockers(std::move(disk), dissentingProcessID);
    }
    co_return co_await diagnoser_->blockers(std::move(disk));
}

Task<TovoWorkflow::Diagnosis>
TovoWorkflow::diagnose(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID) {
    Diagnosis found;
    auto diagnosis = diagnoseBlockers(disk, dissentingProcessID);
    found.processes = co_await diagnosis;
    auto finding = findCauses(std::move(disk), !found.processes.empty());
    found.causes = co_await finding;
    co_return found;
}

Task<std::vector<BusyCause>> TovoWorkflow::findCauses(ExternalDisk disk, bool processesFound) {
    if (!causeFinder_) {
        co_return std::vector<BusyCause>{};
    }
    std::exception_ptr error;
    try {
        auto finding = causeFinder_->causes(std::move(disk), processesFound);
        co_return co_await finding;
    } catch (...) {
        error = std::current_exception();
    }
    if (isCancellation(error)) {
        std::rethrow_exception(error);
    }
    // The processes still tell the user most of the story.
    logger_.error("Cause search failed " + domainAndCode(error));
    co_return std::vector<BusyCause>{};
}

Task<void> TovoWorkflow::enterBlockedState(Uuid operationID, std::string diskID, Diagnosis found) {
    // Named tasks: GCC 12 mishandles temporaries inside co_await.
    auto releasePlanning = releaser_->planRelease(found.processes);
    auto releasePlans = co_await releasePlanning;
    std::vector<ProcessStopPlan> stopPlans;
    if (stopper_) {
        stopPlans.reserve(found.processes.size());
        for (const auto& blocker : found.processes) {
            auto stopPlanning = stopper_->planStop(blocker);
            stopPlans.push_back(co_await stopPlanning);
        }
    }
    if (!isCurrent(operationID, diskID)) {
        co_return;
    }
    setBlockers(std::move(found.processes));
    setReleasePlans(std::move(releasePlans));
    setStopPlans(std::move(stopPlans));
    setBusyCauses(std::move(found.causes));
    settle(EjectionPhase::blocked());
}

void TovoWorkflow::failOperation(const Uuid& operationID, const std::string& diskID,
                                 std::exception_ptr error) {
    if (!isCurrent(operationID, diskID)) {
        return;
    }
    logger_.error("Release operation failed " + domainAndCode(error));
    settle(EjectionPhase::failed("Tovo stopped safely", readableMessage(error),
                                 FailureRecovery::retryEject));
}

void TovoWorkflow::recoverFromCancellation(const Uuid& operationID, const std::string& diskID) {
    if (!isCurrent(operationID, diskID)) {
        return;
    }
    logger_.info("Release operation cancelled safely");
    if (!blockers_.empty() || !busyCauses_.empty()) {
        settle(EjectionPhase::blocked());
        return;
    }
    setReleasePlans({});
    setStopPlans({});
    settle(EjectionPhase::ready());
}

void TovoWorkflow::endOperation(const Uuid& operationID, const std::string& diskID,
                                std::exception_ptr error) {
    if (isCancellation(error)) {
        recoverFromCancellation(operationID, diskID);
    } else {
        failOperation(operationID, diskID, error);
    }
}

} // namespace tovo
