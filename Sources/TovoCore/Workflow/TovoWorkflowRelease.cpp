#include "TovoCore/Models/CheckedArithmetic.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <algorithm>
#include <limits>

namespace tovo {

namespace {

constexpr auto alreadyClosedMessage = "It released the disk before Tovo acted.";
constexpr auto unverifiableMessage = "Tovo cannot verify that this app is still safe to close.";

// The same process, not merely the same pid: a reused pid has another start time.
std::optional<BlockingProcess> findSameProcess(const std::vector<BlockingProcess>& processes,
                                               const BlockingProcess& wanted) {
    const auto found = std::ranges::find_if(
        processes, [&](const BlockingProcess& process) { return process.hasSameIdentity(wanted); });
    if (found == processes.end()) {
        return std::nullopt;
    }
    return *found;
}

ReleaseAttempt recordedAttempt(std::int32_t processID, std::string processName,
                               ReleaseDisposition disposition, std::string message) {
    return ReleaseAttempt{Uuid::random(), processID, std::move(processName), disposition,
                          std::move(message)};
}

} // namespace

std::vector<TovoWorkflow::FrozenReleaseApproval> TovoWorkflow::frozenReleaseApprovals() const {
    std::vector<FrozenReleaseApproval> approvals;
    for (const auto& blocker : blockers_) {
        const auto plan =
            std::ranges::find(releasePlans_, blocker.pid, &ProcessReleasePlan::processID);
        if (plan != releasePlans_.end()) {
            approvals.push_back({blocker, *plan});
        }
    }
    return approvals;
}

Task<void> TovoWorkflow::performSafeTovo() {
    const auto disk = selectedDisk();
    if (!disk) {
        co_return;
    }
    if (!phase_.is<EjectionPhase::Blocked>()) {
        co_return;
    }
    // What the user confirmed, taken now: the published lists may change while we wait.
    auto approvals = frozenReleaseApprovals();
    const auto eligible =
        std::ranges::count_if(approvals, [](const FrozenReleaseApproval& approval) {
            return approval.plan.strategy == ReleaseStrategy::quitApplication;
        });
    logger_.info("Release review confirmed total=" + std::to_string(approvals.size()) +
                 " eligible=" + std::to_string(eligible));
    std::vector<BusyCause> approvedCauses;
    std::ranges::copy_if(
        busyCauses_, std::back_inserter(approvedCauses),
        [](const BusyCause& cause) { return cause.plan.action != BusyCauseAction::none; });
    if (!approvedCauses.empty()) {
        logger_.info("Release review confirmed causes=" + std::to_string(approvedCauses.size()));
    }

    bumpRefreshGeneration();
    const auto operationID = beginOperation();
    setReleaseAttempts({});
    setCauseAttempts({});
    setPhase(EjectionPhase::releasing());

    std::exception_ptr error;
    try {
        auto releasing =
            releaseApproved(*disk, operationID, std::move(approvals), std::move(approvedCauses));
        co_await releasing;
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        endOperation(operationID, disk->id, error);
    }
}

Task<void> TovoWorkflow::releaseApproved(ExternalDisk disk, Uuid operationID,
                                         std::vector<FrozenReleaseApproval> approvals,
                                         std::vector<BusyCause> approvedCauses) {
    std::vector<ReleaseAttempt> attempts;
    std::vector<BlockingProcess> asked;
    for (const auto& approval : approvals) {
        const auto fresh = co_await diagnoser_->blockers(disk);
        if (!isCurrent(operationID, disk.id)) {
            co_return;
        }
        const auto process = findSameProcess(fresh, approval.process);
        if (!process) {
            attempts.push_back(recordedAttempt(approval.process.pid, approval.plan.processName,
                                               ReleaseDisposition::alreadyClosed,
                                               alreadyClosedMessage));
            continue;
        }
        auto planning = releaser_->planRelease(std::vector<BlockingProcess>(1, *process));
        const auto freshPlans = co_await planning;
        if (!isCurrent(operationID, disk.id)) {
            co_return;
        }
        if (approval.plan.strategy != ReleaseStrategy::quitApplication) {
            // Left to the user: never asked, whatever the fresh plan says.
            attempts.push_back(recordedAttempt(approval.process.pid, approval.plan.processName,
                                               ReleaseDisposition::needsManualAction,
                                               approval.plan.message));
            continue;
        }
        if (freshPlans.empty() || freshPlans.front().strategy != ReleaseStrategy::quitApplication) {
            attempts.push_back(recordedAttempt(approval.process.pid, approval.plan.processName,
                                               ReleaseDisposition::needsManualAction,
                                               unverifiableMessage));
            continue;
        }
        // A process listed twice is still asked only once.
        if (findSameProcess(asked, *process)) {
            continue;
        }
        asked.push_back(*process);
        auto requested =
            co_await releaser_->requestRelease(std::vector<BlockingProcess>(1, *process));
        std::ranges::move(requested, std::back_inserter(attempts));
    }
    // The last request suspended; the user may have moved on meanwhile.
    if (!isCurrent(operationID, disk.id)) {
        co_return;
    }
    const auto count = attempts.size();
    setReleaseAttempts(std::move(attempts));
    logger_.info("Release requests completed count=" + std::to_string(count));

    // Everyone asked to quit is waited for, whatever the request said: one that closed
    // already is simply absent from the next diagnosis.
    std::vector<BlockingProcess> exiting;
    for (const auto& approval : approvals) {
        if (approval.plan.strategy == ReleaseStrategy::quitApplication) {
            exiting.push_back(approval.process);
        }
    }
    auto retrying = settleAndRetryEject(std::move(disk), operationID, std::move(exiting),
                                        std::move(approvedCauses));
    co_await retrying;
}

Task<void> TovoWorkflow::performStop(BlockingProcess process) {
    if (!selectedDisk() || !phase_.is<EjectionPhase::Blocked>() || !stopper_) {
        co_return;
    }
    const auto shown = findSameProcess(blockers_, process);
    if (!shown) {
        co_return;
    }
    const auto diskID = *selectedDiskID_;
    // The plan on screen may be stale: ask again. Nothing has started yet, so a plan
    // that cannot be made leaves everything as it is.
    std::optional<ProcessStopPlan> plan;
    try {
        auto planning = stopper_->planStop(*shown);
        plan = co_await planning;
    } catch (...) {
        co_return;
    }
    if (plan->method == StopMethod::unavailable) {
        co_return;
    }
    // Planning suspended: the user may have moved on, or another operation begun.
    const auto disk = selectedDisk();
    if (!disk || disk->id != diskID || !phase_.is<EjectionPhase::Blocked>() || activeOperationID_ ||
        !findSameProcess(blockers_, *shown)) {
        co_return;
    }
    logger_.info("Stop requested method=" + std::string(name(plan->method)));

    bumpRefreshGeneration();
    const auto operationID = beginOperation();
    setReleaseAttempts({});
    setPhase(EjectionPhase::stopping(plan->processName));

    std::exception_ptr error;
    try {
        co_await stopApproved(*disk, operationID, *shown, std::move(*plan));
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        endOperation(operationID, disk->id, error);
    }
}

Task<void> TovoWorkflow::stopApproved(ExternalDisk disk, Uuid operationID, BlockingProcess process,
                                      ProcessStopPlan plan) {
    const auto fresh = co_await diagnoser_->blockers(disk);
    if (!isCurrent(operationID, disk.id)) {
        co_return;
    }
    const auto target = findSameProcess(fresh, process);
    std::optional<ReleaseAttempt> attempt;
    if (!target) {
        attempt = recordedAttempt(process.pid, plan.processName, ReleaseDisposition::alreadyClosed,
                                  alreadyClosedMessage);
    } else {
        attempt = co_await stopper_->requestStop(*target);
        if (!isCurrent(operationID, disk.id)) {
            co_return;
        }
    }
    const auto disposition = attempt->disposition;
    setReleaseAttempts(std::vector<ReleaseAttempt>(1, std::move(*attempt)));
    logger_.info("Stop request completed disposition=" + std::string(name(disposition)));

    std::vector<BlockingProcess> exiting;
    if (disposition == ReleaseDisposition::requested && target) {
        exiting.push_back(*target);
    }
    auto retrying = settleAndRetryEject(std::move(disk), operationID, std::move(exiting), {});
    co_await retrying;
}

Task<std::vector<BlockingProcess>>
TovoWorkflow::waitForReleasedProcesses(ExternalDisk disk, std::vector<BlockingProcess> exiting) {
    const auto settle = settleDelayNanoseconds_;
    const auto timeout = releaseTimeoutNanoseconds_;
    if (settle == 0 || timeout == 0) {
        co_return co_await diagnoser_->blockers(std::move(disk));
    }
    std::uint64_t elapsed = 0;
    auto step = std::min(timeout, settle);
    while (true) {
        co_await sleepNanoseconds(step);
        elapsed = checkedAdd(elapsed, step);
        auto fresh = co_await diagnoser_->blockers(disk);
        // Somebody who was not asked to quit holds the disk: waiting cannot help.
        const bool heldByOthers = std::ranges::any_of(fresh, [&](const BlockingProcess& blocker) {
            return !findSameProcess(exiting, blocker);
        });
        if (fresh.empty() || elapsed >= timeout || heldByOthers) {
            co_return fresh;
        }
        step = std::min(timeout - elapsed, settle);
    }
}

Task<void> TovoWorkflow::settleAndRetryEject(ExternalDisk disk, Uuid operationID,
                                             std::vector<BlockingProcess> exiting,
                                             std::vector<BusyCause> approvedCauses) {
    auto remaining = co_await waitForReleasedProcesses(disk, std::move(exiting));
    if (!isCurrent(operationID, disk.id)) {
        co_return;
    }
    if (!remaining.empty()) {
        logger_.info("Release recheck still blocked count=" + std::to_string(remaining.size()));
        auto finding = findCauses(disk, true);
        auto causes = co_await finding;
        if (!isCurrent(operationID, disk.id)) {
            co_return;
        }
        Diagnosis found{std::move(remaining), std::move(causes)};
        // Named tasks: GCC 12 mishandles temporaries inside co_await.
        auto blocking = enterBlockedState(operationID, disk.id, std::move(found));
        co_await blocking;
        co_return;
    }
    setBlockers({});
    // Once the apps are gone: a nested file system unmounts only when nobody uses it.
    if (!approvedCauses.empty()) {
        auto resolving = resolveApprovedCauses(disk, operationID, std::move(approvedCauses));
        if (!co_await resolving) {
            co_return;
        }
    }
    setBusyCauses({});

    setPhase(EjectionPhase::retrying());
    std::exception_ptr error;
    try {
        co_await ejector_->eject(disk);
    } catch (...) {
        error = std::current_exception();
    }
    const auto stop = co_await currentStopToken();
    if (isCancellation(error) || (!error && stop.stop_requested())) {
        if (isCurrent(operationID, disk.id)) {
            failUnconfirmedEject(disk);
        }
        co_return;
    }
    if (!error) {
        if (isCurrent(operationID, disk.id)) {
            finishSuccess(disk);
        }
        co_return;
    }
    std::optional<EjectionFailure> busy;
    try {
        std::rethrow_exception(error);
    } catch (const EjectionFailure& failure) {
        if (failure.kind == EjectionFailureKind::busy) {
            busy = failure;
        }
    } catch (...) {
    }
    if (!busy) {
        std::rethrow_exception(error);
    }
    if (!isCurrent(operationID, disk.id)) {
        co_return;
    }
    setPhase(EjectionPhase::diagnosing());
    auto diagnosis = diagnose(disk, busy->dissentingProcessID);
    auto found = co_await diagnosis;
    if (!isCurrent(operationID, disk.id)) {
        co_return;
    }
    if (found.isEmpty()) {
        // Busy, yet nothing to show: fail with the refusal itself.
        throw *busy;
    }
    auto blocking = enterBlockedState(operationID, disk.id, std::move(found));
    co_await blocking;
}

Task<bool> TovoWorkflow::resolveApprovedCauses(ExternalDisk disk, Uuid operationID,
                                               std::vector<BusyCause> approved) {
    // What the user confirmed may be gone or changed by now: act only on a cause
    // still found, with the same plan.
    auto finding = causeFinder_->causes(disk, true);
    const auto fresh = co_await finding;
    if (!isCurrent(operationID, disk.id)) {
        co_return false;
    }
    std::vector<BusyCauseAttempt> attempts;
    for (const auto& cause : approved) {
        const auto found = std::ranges::find_if(fresh, [&](const BusyCause& candidate) {
            return candidate.key() == cause.key() && candidate.plan.action == cause.plan.action;
        });
        if (found == fresh.end()) {
            attempts.push_back(BusyCauseAttempt{cause.key(), ReleaseDisposition::alreadyClosed,
                                                "It no longer holds the disk."});
            continue;
        }
        auto resolving = causeFinder_->resolve(*found);
        attempts.push_back(co_await resolving);
        if (!isCurrent(operationID, disk.id)) {
            co_return false;
        }
    }
    const auto count = attempts.size();
    setCauseAttempts(std::move(attempts));
    logger_.info("Cause actions completed count=" + std::to_string(count));
    co_return true;
}

Task<void> TovoWorkflow::sleepNanoseconds(std::uint64_t nanoseconds) {
    // The clock counts in signed nanoseconds; a longer wait is slept in parts.
    constexpr auto longest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    while (nanoseconds > 0) {
        const auto part = std::min(nanoseconds, longest);
        co_await clock_.sleep(std::chrono::nanoseconds(static_cast<std::int64_t>(part)));
        nanoseconds -= part;
    }
}

} // namespace tovo
