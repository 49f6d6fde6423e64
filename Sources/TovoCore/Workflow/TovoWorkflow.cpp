#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include "TovoCore/Models/CheckedArithmetic.hpp"

#include <algorithm>

namespace tovo {

TovoWorkflow::TovoWorkflow(
    std::shared_ptr<VolumeProviding> volumeProvider, std::shared_ptr<DiskEjecting> ejector,
    std::shared_ptr<BlockerDiagnosing> diagnoser, std::shared_ptr<ProcessReleasing> releaser,
    std::shared_ptr<ProcessStopping> stopper, std::uint64_t settleDelayNanoseconds,
    std::uint64_t releaseTimeoutNanoseconds, Clock& clock, Logger& logger, Executor& mainExecutor)
    : volumeProvider_(std::move(volumeProvider))
    , ejector_(std::move(ejector))
    , diagnoser_(std::move(diagnoser))
    , releaser_(std::move(releaser))
    , stopper_(std::move(stopper))
    , settleDelayNanoseconds_(settleDelayNanoseconds)
    , releaseTimeoutNanoseconds_(releaseTimeoutNanoseconds)
    , clock_(clock)
    , logger_(logger)
    , mainExecutor_(mainExecutor) {}

std::optional<ExternalDisk> TovoWorkflow::selectedDisk() const {
    if (!selectedDiskID_) {
        return std::nullopt;
    }
    const auto found = std::ranges::find(disks_, *selectedDiskID_, &ExternalDisk::id);
    if (found == disks_.end()) {
        return std::nullopt;
    }
    return *found;
}

std::size_t TovoWorkflow::addObserver(Observer observer) {
    const auto token = nextObserverToken_++;
    observers_.emplace(token, std::move(observer));
    return token;
}

void TovoWorkflow::removeObserver(std::size_t token) {
    observers_.erase(token);
}

void TovoWorkflow::announce(WorkflowProperty property) {
    // A copy, so an observer may add or remove observers while being told.
    const auto observers = observers_;
    for (const auto& [token, observer] : observers) {
        if (observer) {
            observer(property);
        }
    }
}

Task<void> TovoWorkflow::refresh() {
    bumpRefreshGeneration();
    const auto generation = refreshGeneration_;
    logger_.debug("Disk refresh started");

    std::optional<std::vector<ExternalDisk>> listed;
    std::exception_ptr error;
    try {
        listed = co_await volumeProvider_->mountedExternalDisks();
    } catch (...) {
        error = std::current_exception();
    }
    if (refreshGeneration_ != generation) {
        co_return;
    }

    if (error) {
        if (phase_.isBusy()) {
            co_return;
        }
        if (phase_.is<EjectionPhase::Ejected>()) {
            logger_.debug("Disk refresh failure ignored on the success screen");
            co_return;
        }
        logger_.error("Disk refresh failed domain=" + errorDomain(error) +
                      " code=" + std::to_string(errorCode(error)));
        setDisks({});
        setSelectedDiskID(std::nullopt);
        clearLists();
        settle(EjectionPhase::failed("Could not check disks", readableMessage(error),
                                     FailureRecovery::refreshDisks));
        co_return;
    }

    if (phase_.isBusy() && activeOperationID_) {
        logger_.debug("Disk refresh ignored during an active operation");
        co_return;
    }
    if (phase_.is<EjectionPhase::Ejected>()) {
        logger_.debug("Disk refresh deferred on the success screen");
        co_return;
    }
    const auto count = listed->size();
    setDisks(std::move(*listed));
    logger_.info("Disk refresh completed count=" + std::to_string(count));
    if (selectedDisk()) {
        // A refresh is how the user leaves a failure that asked for one: whatever the
        // list now holds, the screen must be usable again.
        const auto* failure = phase_.getIf<EjectionPhase::Failed>();
        if (failure && failure->recovery == FailureRecovery::refreshDisks) {
            clearLists();
            settle(EjectionPhase::ready());
        }
        co_return;
    }
    setSelectedDiskID(disks_.empty() ? std::nullopt : std::optional(disks_.front().id));
    clearLists();
    settle(EjectionPhase::ready());
}

void TovoWorkflow::selectDisk(const std::string& id) {
    if (!phase_.allowsDiskSelection()) {
        return;
    }
    if (std::ranges::find(disks_, id, &ExternalDisk::id) == disks_.end()) {
        return;
    }
    if (selectedDiskID_ == id) {
        return;
    }
    bumpRefreshGeneration();
    setSelectedDiskID(id);
    clearLists();
    settle(EjectionPhase::ready());
}

Task<void> TovoWorkflow::resetResult() {
    setPhase(EjectionPhase::ready());
    clearLists();
    co_await refresh();
}

bool TovoWorkflow::isCurrent(const Uuid& operationID, const std::string& diskID) {
    if (activeOperationID_ == operationID && selectedDiskID_ == diskID) {
        return true;
    }
    logger_.debug("Ignored a stale operation result");
    return false;
}

void TovoWorkflow::removeStaleDisk(const ExternalDisk& disk) {
    auto remaining = disks_;
    std::erase_if(remaining, [&](const ExternalDisk& listed) { return listed.id == disk.id; });
    setDisks(std::move(remaining));
    setSelectedDiskID(disks_.empty() ? std::nullopt : std::optional(disks_.front().id));
    clearLists();
}

std::string TovoWorkflow::readableMessage(std::exception_ptr error) const {
    return tovo::readableMessage(error);
}

void TovoWorkflow::bumpRefreshGeneration() {
    refreshGeneration_ = checkedAdd<std::uint64_t>(refreshGeneration_, 1);
}

Uuid TovoWorkflow::beginOperation() {
    const auto operationID = Uuid::random();
    activeOperationID_ = operationID;
    return operationID;
}

void TovoWorkflow::settle(EjectionPhase phase) {
    // Before the phase is announced: an observer may start the next step at once.
    activeOperationID_.reset();
    setPhase(std::move(phase));
}

void TovoWorkflow::clearFindings() {
    setBlockers({});
    setReleasePlans({});
    setStopPlans({});
    setBusyCauses({});
}

void TovoWorkflow::clearLists() {
    clearFindings();
    setReleaseAttempts({});
    setCauseAttempts({});
}

} // namespace tovo
