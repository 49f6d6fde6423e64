#pragma once

#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/BusyCause.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"
#include "TovoCore/Models/Uuid.hpp"
#include "TovoCore/Services/BusyCauseFinding.hpp"
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
    releaseAttempts,
    busyCauses,
    causeAttempts
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
    /// What keeps the disk busy besides the blockers, each with its plan.
    const std::vector<BusyCause>& busyCauses() const { return busyCauses_; }
    /// What came of the cause actions of the last release.
    const std::vector<BusyCauseAttempt>& causeAttempts() const { return causeAttempts_; }
    std::optional<ExternalDisk> selectedDisk() const;

    /// Looks for causes besides processes after every busy refusal; without a finder
    /// only processes are diagnosed. Set before the first operation.
    void setBusyCauseFinder(std::shared_ptr<BusyCauseFinding> finder) {
        causeFinder_ = std::move(finder);
    }

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
    struct Diagnosis {
        std::vector<BlockingProcess> processes;
        std::vector<BusyCause> causes;
        bool isEmpty() const { return processes.empty() && causes.empty(); }
    };

    // Shared helpers.
    bool isCurrent(const Uuid& operationID, const std::string& diskID);
    void removeStaleDisk(const ExternalDisk& disk);
    std::string readableMessage(std::exception_ptr error) const;
    void bumpRefreshGeneration();
    Uuid beginOperation();
    /// Ends the running operation: its late results are stale from here on.
    void settle(EjectionPhase phase);
    /// What a disk that is no longer blocked forgets; attempts stay to be shown.
    void clearFindings();
    void clearLists();

    // Eject, diagnosis and the endings of every operation.
    void finishSuccess(const ExternalDisk& disk);
    /// A cancelled eject may still be under way in the system: never an all-clear.
    void failUnconfirmedEject(const ExternalDisk& disk);
    void logEjectionFailure(std::exception_ptr error);
    Task<std::vector<BlockingProcess>>
    diagnoseBlockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID);
    /// The processes, then the other causes; a failing cause finder costs only the causes.
    Task<Diagnosis> diagnose(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID);
    Task<std::vector<BusyCause>> findCauses(ExternalDisk disk, bool processesFound);
    /// Plans every blocker, then shows them with the causes; dropped when the operation
    /// moved on meanwhile.
    Task<void> enterBlockedState(Uuid operationID, std::string diskID, Diagnosis found);
    void failOperation(const Uuid& operationID, const std::string& diskID,
                       std::exception_ptr error);
    void recoverFromCancellation(const Uuid& operationID, const std::string& diskID);
    void endOperation(const Uuid& operationID, const std::string& diskID, std::exception_ptr error);

    // Release, stop, wait and retry.
    std::vector<FrozenReleaseApproval> frozenReleaseApprovals() const;
    Task<void> releaseApproved(ExternalDisk disk, Uuid operationID,
                               std::vector<FrozenReleaseApproval> approvals,
                               std::vector<BusyCause> approvedCauses);
    Task<void> stopApproved(ExternalDisk disk, Uuid operationID, BlockingProcess process,
                            ProcessStopPlan plan);
    Task<std::vector<BlockingProcess>>
    waitForReleasedProcesses(ExternalDisk disk, std::vector<BlockingProcess> exiting);
    Task<void> settleAndRetryEject(ExternalDisk disk, Uuid operationID,
                                   std::vector<BlockingProcess> exiting,
                                   std::vector<BusyCause> approvedCauses);
    /// Carries out the approved cause actions that a fresh look still finds, as planned;
    /// false when the operation moved on meanwhile.
    Task<bool> resolveApprovedCauses(ExternalDisk disk, Uuid operationID,
                                     std::vector<BusyCause> approved);
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
    void setBusyCauses(std::vector<BusyCause> value) {
        publish(WorkflowProperty::busyCauses, busyCauses_, std::move(value));
    }
    void setCauseAttempts(std::vector<BusyCauseAttempt> value) {
        publish(WorkflowProperty::causeAttempts, causeAttempts_, std::move(value));
    }

    std::vector<ExternalDisk> disks_;
    std::optional<std::string> selectedDiskID_;
    std::vector<BlockingProcess> blockers_;
    EjectionPhase phase_ = EjectionPhase::ready();
    std::vector<ProcessReleasePlan> releasePlans_;
    std::vector<ProcessStopPlan> stopPlans_;
    std::vector<ReleaseAttempt> releaseAttempts_;
    std::vector<BusyCause> busyCauses_;
    std::vector<BusyCauseAttempt> causeAttempts_;

    std::shared_ptr<VolumeProviding> volumeProvider_;
    std::shared_ptr<DiskEjecting> ejector_;
    std::shared_ptr<BlockerDiagnosing> diagnoser_;
    std::shared_ptr<ProcessReleasing> releaser_;
    std::shared_ptr<ProcessStopping> stopper_;
    std::shared_ptr<BusyCauseFinding> causeFinder_;
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
