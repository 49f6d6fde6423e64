#pragma once

#include "Support/ScriptedOperation.hpp"
#include "TovoCore/Services/TovoServices.hpp"

// Doubles of the six service interfaces whose answers and timing the test scripts
// (see ScriptedOperation). Plans answer at once unless a test holds them.

namespace tovo::testing {

class ScriptedVolumeProvider final : public VolumeProviding {
public:
    explicit ScriptedVolumeProvider(Executor& executor)
        : listing(executor) {}
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override { return listing.call({}); }

    ScriptedOperation<std::vector<ExternalDisk>, std::monostate> listing;
};

class ScriptedDiskEjector final : public DiskEjecting {
public:
    explicit ScriptedDiskEjector(Executor& executor)
        : ejects(executor) {}
    Task<void> eject(ExternalDisk disk) override { return ejects.call(std::move(disk)); }

    ScriptedOperation<void, ExternalDisk> ejects;
};

/// One diagnosis request: which disk, and whether the dissenter was passed along.
struct DiagnosisCall {
    ExternalDisk disk;
    bool withDissent;
    std::optional<std::int32_t> dissentingProcessID;
    bool operator==(const DiagnosisCall&) const = default;
};

/// A diagnoser over `Interface`; the dissent-aware overload overrides only when the
/// interface has it.
template<class Interface>
class ScriptedDiagnoser final : public Interface {
public:
    explicit ScriptedDiagnoser(Executor& executor)
        : diagnoses(executor) {}
    Task<std::vector<BlockingProcess>> blockers(ExternalDisk disk) override {
        return diagnoses.call({std::move(disk), false, std::nullopt});
    }
    Task<std::vector<BlockingProcess>> blockers(ExternalDisk disk,
                                                std::optional<std::int32_t> dissentingProcessID) {
        return diagnoses.call({std::move(disk), true, dissentingProcessID});
    }

    ScriptedOperation<std::vector<BlockingProcess>, DiagnosisCall> diagnoses;
};

inline ProcessReleasePlan quitPlan(const BlockingProcess& process) {
    return {process.pid, process.command, ReleaseStrategy::quitApplication, "Asks it to quit."};
}

inline ProcessReleasePlan manualPlan(const BlockingProcess& process) {
    return {process.pid, process.command, ReleaseStrategy::manualAction,
            "Close this process, then try again."};
}

inline ReleaseAttempt attemptFor(const BlockingProcess& process, ReleaseDisposition disposition,
                                 std::string message = "Asked to quit.") {
    return {Uuid::random(), process.pid, process.command, disposition, std::move(message)};
}

class ScriptedProcessReleaser final : public ProcessReleasing {
public:
    using Planner =
        std::function<std::vector<ProcessReleasePlan>(const std::vector<BlockingProcess>&)>;

    /// Plans answer at once from `planner`, which leaves everything to the user unless
    /// told otherwise; a test that clears the responder of `plans` holds them pending.
    explicit ScriptedProcessReleaser(Executor& executor)
        : plans(executor)
        , requests(executor) {
        planEach(manualPlan);
        plans.setResponder([this](const std::vector<BlockingProcess>& processes) {
            return decltype(plans)::Outcome::success(planner(processes));
        });
    }

    Task<std::vector<ProcessReleasePlan>>
    planRelease(std::vector<BlockingProcess> processes) const override {
        return plans.call(std::move(processes));
    }
    Task<std::vector<ReleaseAttempt>>
    requestRelease(std::vector<BlockingProcess> processes) override {
        return requests.call(std::move(processes));
    }

    /// Plans each process with `plan`, one plan per process.
    void planEach(std::function<ProcessReleasePlan(const BlockingProcess&)> plan) {
        planner = [plan = std::move(plan)](const std::vector<BlockingProcess>& processes) {
            std::vector<ProcessReleasePlan> plans;
            for (const auto& process : processes) {
                plans.push_back(plan(process));
            }
            return plans;
        };
    }
    /// Every request answers at once with one attempt of `disposition` per process.
    void answerRequestsWith(ReleaseDisposition disposition) {
        requests.setResponder([disposition](const std::vector<BlockingProcess>& processes) {
            std::vector<ReleaseAttempt> attempts;
            for (const auto& process : processes) {
                attempts.push_back(attemptFor(process, disposition));
            }
            return decltype(requests)::Outcome::success(std::move(attempts));
        });
    }

    Planner planner;
    mutable ScriptedOperation<std::vector<ProcessReleasePlan>, std::vector<BlockingProcess>> plans;
    ScriptedOperation<std::vector<ReleaseAttempt>, std::vector<BlockingProcess>> requests;
};

class ScriptedProcessStopper final : public ProcessStopping {
public:
    /// Plans one terminate signal for everybody unless told otherwise.
    explicit ScriptedProcessStopper(Executor& executor)
        : plans(executor)
        , stops(executor) {
        plans.setResponder([this](const BlockingProcess& process) {
            return decltype(plans)::Outcome::success(
                ProcessStopPlan{process.pid, process.command + " (plan)", method,
                                "Tovo will stop it.", std::nullopt});
        });
    }

    Task<ProcessStopPlan> planStop(BlockingProcess process) const override {
        return plans.call(std::move(process));
    }
    Task<ReleaseAttempt> requestStop(BlockingProcess process) override {
        return stops.call(std::move(process));
    }

    StopMethod method = StopMethod::terminateProcess;
    mutable ScriptedOperation<ProcessStopPlan, BlockingProcess> plans;
    ScriptedOperation<ReleaseAttempt, BlockingProcess> stops;
};

} // namespace tovo::testing
