#pragma once

#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"
#include "TovoCore/Models/Uuid.hpp"
#include "TovoCore/Services/Logger.hpp"
#include "TovoCore/Services/TovoServices.hpp"

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// The published properties, named in observer callbacks.
enum class WorkflowProperty {
    disks,
    selectedDiskID,
    blockers,
    phase,
    releasePlans,
    stopPlans,
    releaseAttempts
};

/// The one state machine behind every screen: lists disks, ejects the selected one,
/// finds out who holds it, carries out the approved release or an explicit stop, waits
/// and retries. Everything runs on the main executor; results that arrive after the
/// state moved on (another refresh, another selection, another operation) are dropped.
class TovoWorkflow {
public:
    TovoWorkflow(std::shared_ptr<VolumeProviding> volumeProvider,
                 std::shared_ptr<DiskEjecting> ejector,
                 std::shared_ptr<BlockerDiagnosing> diagnoser,
                 std::shared_ptr<ProcessReleasing> releaser,
                 std::shared_ptr<ProcessStopping> stopper, std::uint64_t settleDelayNanoseconds,
                 std::uint64_t releaseTimeoutNanoseconds, Clock& clock, Logger& logger,
                 Executor& mainExecutor);
    TovoWorkflow(const TovoWorkflow&) = delete;
    TovoWorkflow& operator=(const TovoWorkflow&) = delete;

    const std::vector<ExternalDisk>& disks() const { return disks_; }
    const std::optional<std::string>& selectedDiskID() const { return selectedDiskID_; }
    const std::vector<BlockingProcess>& blockers() const { return blockers_; }
    const EjectionPhase& phase() const { return phase_; }
    const std::vector<ProcessReleasePlan>& releasePlans() const { return releasePlans_; }
    const std::vector<ProcessStopPlan>& stopPlans() const { return stopPlans_; }
    const std::vector<ReleaseAttempt>& releaseAttempts() const { return releaseAttempts_; }
    std::optional<ExternalDisk> selectedDisk() const;

    /// Called on the main executor just before a published property is assigned.
    using Observer = std::function<void(WorkflowProperty)>;
    std::size_t addObserver(Observer observer);
    void removeObserver(std::size_t token);

    Task<void> refresh();
    void selectDisk(const std::string& id);
    Task<void> resetResult();
    Task<void> attemptEject();
    Task<void> performSafeTovo();
    Task<void> performStop(BlockingProcess process);

private:
    struct FrozenReleaseApproval {
        BlockingProcess process;
        ProcessReleasePlan plan;
    };

    // Shared helpers.
    bool isCurrent(const Uuid& operationID, const std::string& diskID);
    void removeStaleDisk(const ExternalDisk& disk);
    std::string readableMessage(std::exception_ptr error) const;
    void bumpRefreshGeneration();
    Uuid beginOperation();
    void clearLists();

    // Eject, diagnosis and the endings of every operation.
    void finishSuccess(const ExternalDisk& disk);
    void logEjectionFailure(std::exception_ptr error);
    Task<std::vector<BlockingProcess>>
    diagnoseBlockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID);
    /// Plans every blocker, then shows them; dropped when the operation moved on meanwhile.
    Task<void> enterBlockedState(Uuid operationID, std::string diskID,
                                 std::vector<BlockingProcess> found);
    void failOperation(const Uuid& operationID, const std::string& diskID,
                       std::exception_ptr error);
    void recoverFromCancellation(const Uuid& operationID, const std::string& diskID);
    void endOperation(const Uuid& operationID, const std::string& diskID, std::exception_ptr error);

    // Release, stop, wait and retry.
    std::vector<FrozenReleaseApproval> frozenReleaseApprovals() const;
    Task<void> releaseApproved(ExternalDisk disk, Uuid operationID,
                               std::vector<FrozenReleaseApproval> approvals);
    Task<void> stopApproved(ExternalDisk disk, Uuid operationID, BlockingProcess process,
                            ProcessStopPlan plan);
    Task<std::vector<BlockingProcess>>
    waitForReleasedProcesses(ExternalDisk disk, std::vector<BlockingProcess> exiting);
    Task<void> settleAndRetryEject(ExternalDisk disk, Uuid operationID,
                                   std::vector<BlockingProcess> exiting);
    Task<void> sleepNanoseconds(std::uint64_t nanoseconds);

    // Every published assignment goes through here, so observers hear of it first.
    template<class T>
    void publish(WorkflowProperty property, T& field, T value) {
        announce(property);
        field = std::move(value);
    }
    void announce(WorkflowProperty property);
    void setDisks(std::vector<ExternalDisk> value) {
        publish(WorkflowProperty::disks, disks_, std::move(value));
    }
    void setSelectedDiskID(std::optional<std::string> value) {
        publish(WorkflowProperty::selectedDiskID, selectedDiskID_, std::move(value));
    }
    void setBlockers(std::vector<BlockingProcess> value) {
        publish(WorkflowProperty::blockers, blockers_, std::move(value));
    }
    void setPhase(EjectionPhase value) {
        publish(WorkflowProperty::phase, phase_, std::move(value));
    }
    void setReleasePlans(std::vector<ProcessReleasePlan> value) {
        publish(WorkflowProperty::releasePlans, releasePlans_, std::move(value));
    }
    void setStopPlans(std::vector<ProcessStopPlan> value) {
        publish(WorkflowProperty::stopPlans, stopPlans_, std::move(value));
    }
    void setReleaseAttempts(std::vector<ReleaseAttempt> value) {
        publish(WorkflowProperty::releaseAttempts, releaseAttempts_, std::move(value));
    }

    std::vector<ExternalDisk> disks_;
    std::optional<std::string> selectedDiskID_;
    std::vector<BlockingProcess> blockers_;
    EjectionPhase phase_ = EjectionPhase::ready();
    std::vector<ProcessReleasePlan> releasePlans_;
    std::vector<ProcessStopPlan> stopPlans_;
    std::vector<ReleaseAttempt> releaseAttempts_;

    std::shared_ptr<VolumeProviding> volumeProvider_;
    std::shared_ptr<DiskEjecting> ejector_;
    std::shared_ptr<BlockerDiagnosing> diagnoser_;
    std::shared_ptr<ProcessReleasing> releaser_;
    std::shared_ptr<ProcessStopping> stopper_;
    std::uint64_t settleDelayNanoseconds_;
    std::uint64_t releaseTimeoutNanoseconds_;
    Clock& clock_;
    Logger& logger_;
    Executor& mainExecutor_;

    std::optional<Uuid> activeOperationID_;
    std::uint64_t refreshGeneration_ = 0;

    std::map<std::size_t, Observer> observers_;
    std::size_t nextObserverToken_ = 1;
};

} // namespace tovo
