#include "TovoSystem/Services/GracefulProcessReleaser.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoSystem/Services/LiveIdentity.hpp"
#include "TovoSystem/Services/ProcessCommandPolicy.hpp"

#include <map>

namespace tovo {

using Policy = ProcessCommandPolicy;

GracefulProcessReleaser::GracefulProcessReleaser(
    Executor& executor, std::uint32_t currentUserID, std::int32_t currentProcessID,
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
    std::shared_ptr<ApplicationRegistry> registry)
    : executor_(executor)
    , currentUserID_(currentUserID)
    , currentProcessID_(currentProcessID)
    , metadataProvider_(std::move(metadataProvider))
    , registry_(std::move(registry)) {}

Task<std::vector<ProcessReleasePlan>>
GracefulProcessReleaser::planRelease(std::vector<BlockingProcess> processes) const {
    // Named, so that GCC 12 keeps the work and its captures alive across the suspension.
    auto work = [this, processes = std::move(processes)] { return plansNow(processes); };
    auto background = runInBackground(executor_, std::move(work));
    co_return co_await std::move(background);
}

std::vector<ProcessReleasePlan>
GracefulProcessReleaser::plansNow(const std::vector<BlockingProcess>& processes) const {
    std::vector<ProcessReleasePlan> plans;
    plans.reserve(processes.size());
    for (const auto& process : processes) {
        plans.push_back(plan(process).plan);
    }
    return plans;
}

GracefulProcessReleaser::Planned
GracefulProcessReleaser::plan(const BlockingProcess& process) const {
    const auto manual = [&](std::string message) {
        return Planned{
            {process.pid, process.command, ReleaseStrategy::manualAction, std::move(message)},
            std::nullopt};
    };
    const auto& command = process.command;

    if (process.pid < 2 || process.pid == currentProcessID_) {
        return manual("Tovo will not close this protected process.");
    }
    if (!process.userID || *process.userID != currentUserID_) {
        return manual("This process belongs to the system or another user.");
    }
    if (process.isSystemDissent || process.openFiles.empty()) {
        return manual("Tovo cannot verify how this app uses the disk. Close it yourself.");
    }
    if (process.hasWritableFiles()) {
        return manual("It can write to the disk. Finish its work first.");
    }
    const auto& executable = process.executablePath;
    if (Policy::isSensitive(command, executable)) {
        if (Policy::isVirtualMachine(command, executable)) {
            return manual("Stop the virtual machine, then try again.");
        }
        if (Policy::isTransfer(command, executable)) {
            return manual("Wait for the transfer or backup to finish.");
        }
        if (Policy::isShell(command, executable)) {
            return manual("Change the terminal folder or close its window.");
        }
        if (Policy::isSystemHelper(command, executable)) {
            return manual("Close the file or wait for the system to finish.");
        }
        return manual("Close this process, then try again.");
    }
    if (process.hasUnknownAccess()) {
        return manual("Tovo cannot verify how this process uses the disk.");
    }
    if (!process.startTime || !process.executablePath) {
        return manual("Tovo cannot verify this app's process identity.");
    }
    const auto application = registry_->runningApplication(process.pid);
    if (!application) {
        if (process.holdsCurrentFolder()) {
            return manual("Its current folder is on this disk. Close this command or helper, then "
                          "try again.");
        }
        return manual("Close this command or helper, then try again.");
    }
    if (application->activationPolicy == ActivationPolicy::prohibited) {
        return manual("This background service must finish on its own.");
    }
    if (application->bundleIdentifier == registry_->ownBundleIdentifier()) {
        return manual("Tovo will not close itself.");
    }
    // The promise to ask is made only where a route reaches this very process.
    const auto route = registry_->quitRoute(process.pid);
    if (!route) {
        return manual(noQuitRouteMessage);
    }
    return {{process.pid, application->localizedName.value_or(command),
             ReleaseStrategy::quitApplication, "Tovo will ask this app to quit."},
            route};
}

ReleaseAttempt GracefulProcessReleaser::request(const BlockingProcess& process) {
    const auto attempt = [&](std::string name, ReleaseDisposition disposition,
                             std::string message) {
        return ReleaseAttempt{Uuid::random(), process.pid, std::move(name), disposition,
                              std::move(message)};
    };
    const auto [planned, route] = plan(process);
    if (planned.strategy == ReleaseStrategy::manualAction || !route) {
        return attempt(planned.processName, ReleaseDisposition::needsManualAction, planned.message);
    }
    if (!registry_->runningApplication(process.pid)) {
        return attempt(process.command, ReleaseDisposition::needsManualAction,
                       "This is no longer a normal app. Close it yourself.");
    }
    if (!liveIdentityMatches(process, *metadataProvider_)) {
        return attempt(process.command, ReleaseDisposition::needsManualAction,
                       "Tovo could not verify that this is the same app.");
    }
    if (registry_->isTerminated(process.pid)) {
        return attempt(planned.processName, ReleaseDisposition::alreadyClosed,
                       "The app is already closed.");
    }
    // Checked again once the process is pinned, right before the request goes out.
    const auto confirm = [&] { return liveIdentityMatches(process, *metadataProvider_); };
    switch (registry_->terminate(process.pid, *route, confirm)) {
    case QuitRequestOutcome::sent:
        return attempt(planned.processName, ReleaseDisposition::requested,
                       "Tovo asked the app to quit.");
    case QuitRequestOutcome::refused:
        break;
    case QuitRequestOutcome::noProvenRoute:
        return attempt(process.command, ReleaseDisposition::needsManualAction,
                       noProvenQuitRouteMessage);
    case QuitRequestOutcome::identityChanged:
        return attempt(process.command, ReleaseDisposition::needsManualAction,
                       "Tovo could not verify that this is the same app.");
    case QuitRequestOutcome::exited:
        return attempt(planned.processName, ReleaseDisposition::alreadyClosed,
                       "The app is already closed.");
    }
    return attempt(process.command, ReleaseDisposition::failed,
                   "The app did not accept the quit request.");
}

Task<std::vector<ReleaseAttempt>>
GracefulProcessReleaser::requestRelease(std::vector<BlockingProcess> processes) {
    auto work = [this, processes = std::move(processes)] { return requestNow(processes); };
    auto background = runInBackground(executor_, std::move(work));
    co_return co_await std::move(background);
}

std::vector<ReleaseAttempt>
GracefulProcessReleaser::requestNow(const std::vector<BlockingProcess>& processes) {
    std::vector<ReleaseAttempt> attempts;
    attempts.reserve(processes.size());
    // A pid listed twice is asked once; its later entries repeat the first outcome.
    std::map<std::int32_t, ReleaseAttempt> outcomes;
    for (const auto& process : processes) {
        if (auto earlier = outcomes.find(process.pid); earlier != outcomes.end()) {
            auto repeated = earlier->second;
            repeated.id = Uuid::random();
            attempts.push_back(std::move(repeated));
            continue;
        }
        attempts.push_back(request(process));
        outcomes.insert_or_assign(process.pid, attempts.back());
    }
    return attempts;
}

} // namespace tovo
