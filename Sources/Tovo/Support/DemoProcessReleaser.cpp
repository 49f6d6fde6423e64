#include "Tovo/Support/DemoProcessReleaser.hpp"

#include "Tovo/Support/ProcessPresentation.hpp"

namespace tovo {

namespace {

// The manual wording names a virtual machine even when automatic quit is simply
// off: the demo's texts stay as they are.
constexpr const char* virtualMachineMessage = "Stop the virtual machine, then try again.";

} // namespace

Task<std::vector<ProcessReleasePlan>>
DemoProcessReleaser::planRelease(std::vector<BlockingProcess> processes) const {
    co_return plansFor(processes);
}

std::vector<ProcessReleasePlan>
DemoProcessReleaser::plansFor(const std::vector<BlockingProcess>& processes) const {
    std::vector<ProcessReleasePlan> plans;
    plans.reserve(processes.size());
    for (const auto& process : processes) {
        const bool manual = !allowsAutomaticQuit_ || ProcessPresentation::isVirtualMachine(process);
        plans.push_back(ProcessReleasePlan{
            process.pid, process.command,
            manual ? ReleaseStrategy::manualAction : ReleaseStrategy::quitApplication,
            manual ? virtualMachineMessage : "Tovo will ask this app to quit."});
    }
    return plans;
}

Task<std::vector<ReleaseAttempt>>
DemoProcessReleaser::requestRelease(std::vector<BlockingProcess> processes) {
    if (allowsAutomaticQuit_) {
        co_await scenario_->clearBlockers();
    }
    std::vector<ReleaseAttempt> attempts;
    attempts.reserve(processes.size());
    for (const auto& process : processes) {
        const bool virtualMachine = ProcessPresentation::isVirtualMachine(process);
        std::string message;
        if (virtualMachine) {
            message = virtualMachineMessage;
        } else if (allowsAutomaticQuit_) {
            message = "Tovo asked the app to quit.";
        } else {
            message = "Close this process, then try again.";
        }
        attempts.push_back(ReleaseAttempt{Uuid::random(), process.pid, process.command,
                                          allowsAutomaticQuit_ && !virtualMachine
                                              ? ReleaseDisposition::requested
                                              : ReleaseDisposition::needsManualAction,
                                          std::move(message)});
    }
    co_return attempts;
}

Task<ProcessStopPlan> DemoProcessReleaser::planStop(BlockingProcess process) const {
    co_return stopPlanFor(process);
}

ProcessStopPlan DemoProcessReleaser::stopPlanFor(const BlockingProcess& process) const {
    const auto name = ProcessPresentation().name(process);
    if (ProcessPresentation::isVirtualMachine(process)) {
        return ProcessStopPlan{
            process.pid, name, StopMethod::terminateProcess,
            "Tovo will send one stop request (SIGTERM) to Virtual Machine. Most tools stop "
            "cleanly. Tovo never forces a kill.",
            "A running virtual machine can lose unsaved state. Stop it from its own app if you "
            "can."};
    }
    return ProcessStopPlan{process.pid, name, StopMethod::quitApplication,
                           "Tovo will ask this app to quit, the same as Quit in its menu. The app "
                           "can still show a save dialog.",
                           std::nullopt};
}

Task<ReleaseAttempt> DemoProcessReleaser::requestStop(BlockingProcess process) {
    // One stop clears every blocker, whichever process was named.
    co_await scenario_->clearBlockers();
    const auto name = ProcessPresentation().name(process);
    co_return ReleaseAttempt{Uuid::random(), process.pid, name, ReleaseDisposition::requested,
                             "Tovo sent a stop request to " + name + "."};
}

} // namespace tovo
