#include "TovoSystem/Services/ExplicitProcessStopper.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoSystem/Services/LiveIdentity.hpp"
#include "TovoSystem/Services/ProcessCommandPolicy.hpp"

#include <cerrno>
#include <csignal>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tovo {

using Policy = ProcessCommandPolicy;

ExplicitProcessStopper::ExplicitProcessStopper(
    Executor& executor, std::uint32_t currentUserID, std::int32_t currentProcessID,
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
    std::shared_ptr<ApplicationRegistry> registry, Signaler signaler)
    : executor_(executor)
    , currentUserID_(currentUserID)
    , currentProcessID_(currentProcessID)
    , metadataProvider_(std::move(metadataProvider))
    , registry_(std::move(registry))
    , signaler_(std::move(signaler)) {}

ExplicitProcessStopper::Signaler ExplicitProcessStopper::systemSignaler() {
    return [](std::int32_t pid, std::int32_t signal,
              const std::function<bool()>& confirm) -> std::int32_t {
        const int pinned = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
        if (pinned < 0) {
            return -1; // ESRCH when it is gone; never a fallback to kill(2)
        }
        if (!confirm()) {
            ::close(pinned);
            errno = 0;
            return -1;
        }
        const auto status =
            static_cast<std::int32_t>(::syscall(SYS_pidfd_send_signal, pinned, signal, nullptr, 0));
        const int error = errno;
        ::close(pinned);
        errno = error;
        return status;
    };
}

std::optional<std::string> ExplicitProcessStopper::warning(const BlockingProcess& process) {
    if (process.hasWritableFiles()) {
        return "It has a file open for writing. Stopping it now can leave that file incomplete.";
    }
    if (Policy::isVirtualMachine(process.command, process.executablePath)) {
        return "A running virtual machine can lose unsaved state. Stop it from its own app if you "
               "can.";
    }
    if (Policy::isTransfer(process.command, process.executablePath)) {
        return "A backup or sync stops mid-transfer. It can resume later, but the current file "
               "stays incomplete.";
    }
    if (Policy::isShell(process.command, process.executablePath)) {
        return "This ends the shell session in that terminal window.";
    }
    return std::nullopt;
}

ExplicitProcessStopper::DisplayIdentity
ExplicitProcessStopper::displayIdentity(const BlockingProcess& process) const {
    auto application = registry_->runningApplication(process.pid);
    if (application && application->activationPolicy != ActivationPolicy::prohibited) {
        auto name = application->localizedName.value_or(process.command);
        const auto route = registry_->quitRoute(process.pid);
        return {std::move(name), std::move(application), route};
    }
    return {process.command, std::nullopt, std::nullopt};
}

Task<ProcessStopPlan> ExplicitProcessStopper::planStop(BlockingProcess process) const {
    // Named, so that GCC 12 keeps the work and its captures alive across the suspension.
    auto work = [this, process = std::move(process)] { return planNow(process); };
    auto background = runInBackground(executor_, std::move(work));
    co_return co_await std::move(background);
}

ProcessStopPlan ExplicitProcessStopper::planNow(const BlockingProcess& process) const {
    return plan(process, displayIdentity(process));
}

ProcessStopPlan ExplicitProcessStopper::plan(const BlockingProcess& process,
                                             const DisplayIdentity& identity) const {
    const auto& name = identity.name;
    const auto unavailable = [&](std::string message) {
        return ProcessStopPlan{process.pid, name, StopMethod::unavailable, std::move(message),
                               std::nullopt};
    };
    if (process.pid < 2 || process.pid == currentProcessID_) {
        return unavailable("Tovo will not stop this protected process.");
    }
    if (!process.userID || *process.userID != currentUserID_) {
        return unavailable(
            "This process belongs to the system or another user. Tovo cannot stop it.");
    }
    if (!process.startTime || !process.executablePath) {
        return unavailable(
            "Tovo cannot verify this process identity, so it will not send a stop request.");
    }
    if (Policy::isSystemHelper(process.command, process.executablePath)) {
        return unavailable(
            "This is part of the system. Close the file or wait for the system to finish.");
    }
    if (identity.application &&
        identity.application->bundleIdentifier == registry_->ownBundleIdentifier()) {
        return unavailable("Tovo will not stop itself.");
    }
    if (identity.application && !identity.quitRoute) {
        return unavailable(noQuitRouteMessage);
    }
    if (identity.application) {
        return {process.pid, name, StopMethod::quitApplication,
                "Tovo will ask " + name +
                    " to quit, the same as Quit in its menu. The app can still show a save dialog.",
                warning(process)};
    }
    return {process.pid, name, StopMethod::terminateProcess,
            "Tovo will send one stop request (SIGTERM) to " + name +
                ". Most tools stop cleanly. Tovo never forces a kill.",
            warning(process)};
}

ReleaseAttempt ExplicitProcessStopper::stopNow(const BlockingProcess& process) {
    const auto identity = displayIdentity(process);
    const auto planned = plan(process, identity);
    const auto attempt = [&](ReleaseDisposition disposition, std::string message) {
        return ReleaseAttempt{Uuid::random(), process.pid, planned.processName, disposition,
                              std::move(message)};
    };
    switch (planned.method) {
    case StopMethod::unavailable:
        return attempt(ReleaseDisposition::needsManualAction, planned.message);

    case StopMethod::terminateProcess: {
        // The identity is proved while the process is pinned, right before the signal.
        std::optional<ReleaseAttempt> refusal;
        const auto confirm = [&] {
            const auto live = metadataProvider_->metadata(process.pid);
            if (!live) {
                refusal = attempt(ReleaseDisposition::alreadyClosed, "The process already exited.");
            } else if (!liveIdentityMatches(process, *live)) {
                refusal = attempt(
                    ReleaseDisposition::failed,
                    "Tovo could not verify that this is the same process. Nothing was sent.");
            }
            return !refusal;
        };
        errno = 0;
        const auto status = signaler_(process.pid, SIGTERM, confirm);
        const int error = errno;
        if (refusal) {
            return *refusal;
        }
        if (status == 0) {
            return attempt(ReleaseDisposition::requested,
                           "Tovo sent a stop request to " + planned.processName + ".");
        }
        switch (error) {
        case EPERM:
            return attempt(ReleaseDisposition::failed,
                           "The system did not allow Tovo to stop this process.");
        case ESRCH:
            return attempt(ReleaseDisposition::alreadyClosed, "The process already exited.");
        default:
            return attempt(ReleaseDisposition::failed,
                           "The stop request failed (error " + std::to_string(error) + ").");
        }
    }

    case StopMethod::quitApplication: {
        const auto application = registry_->runningApplication(process.pid);
        if (!application || application->activationPolicy == ActivationPolicy::prohibited) {
            return attempt(ReleaseDisposition::alreadyClosed, "The app is no longer running.");
        }
        if (!liveIdentityMatches(process, *metadataProvider_)) {
            return attempt(ReleaseDisposition::failed,
                           "Tovo could not verify that this is the same app. Nothing was sent.");
        }
        if (registry_->isTerminated(process.pid)) {
            return attempt(ReleaseDisposition::alreadyClosed, "The app is already closed.");
        }
        // Checked again once the process is pinned, right before the request goes out.
        const auto confirm = [&] { return liveIdentityMatches(process, *metadataProvider_); };
        switch (registry_->terminate(process.pid, *identity.quitRoute, confirm)) {
        case QuitRequestOutcome::sent:
            return attempt(ReleaseDisposition::requested,
                           "Tovo asked " + planned.processName + " to quit.");
        case QuitRequestOutcome::refused:
            break;
        case QuitRequestOutcome::noProvenRoute:
            return attempt(ReleaseDisposition::needsManualAction, noProvenQuitRouteMessage);
        case QuitRequestOutcome::identityChanged:
            return attempt(ReleaseDisposition::failed,
                           "Tovo could not verify that this is the same app. Nothing was sent.");
        case QuitRequestOutcome::exited:
            return attempt(ReleaseDisposition::alreadyClosed, "The app is already closed.");
        }
        return attempt(ReleaseDisposition::failed, "The app did not accept the quit request.");
    }
    }
    return attempt(ReleaseDisposition::needsManualAction, planned.message);
}

Task<ReleaseAttempt> ExplicitProcessStopper::requestStop(BlockingProcess process) {
    auto work = [this, process = std::move(process)] { return stopNow(process); };
    auto background = runInBackground(executor_, std::move(work));
    co_return co_await std::move(background);
}

} // namespace tovo
