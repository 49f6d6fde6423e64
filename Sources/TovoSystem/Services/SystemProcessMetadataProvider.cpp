#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"

#include "TovoCore/Services/Utf8.hpp"

namespace tovo {

SystemProcessMetadataProvider::SystemProcessMetadataProvider(
    std::shared_ptr<const ApplicationRegistry> registry, ProcFileSystem proc)
    : registry_(std::move(registry))
    , proc_(std::move(proc)) {}

std::optional<ProcessMetadata> SystemProcessMetadataProvider::metadata(std::int32_t pid) const {
    if (pid < 1) {
        return std::nullopt;
    }
    const auto info = kernelInfo(pid);
    if (!info) {
        return std::nullopt;
    }
    auto command = runningApplicationName(pid);
    if (!command) {
        command = processName(pid);
    }
    if (!command) {
        command = "Process " + std::to_string(pid);
    }
    return ProcessMetadata{pid,      info->parentPID,     info->userID,
                           *command, executablePath(pid), info->startTime};
}

std::optional<ParentApplication>
SystemProcessMetadataProvider::parentApplication(std::int32_t pid) const {
    auto current = pid;
    for (int step = 0; step < maximumAncestorSteps; ++step) {
        if (current < 1) {
            return std::nullopt;
        }
        const auto info = kernelInfo(current);
        if (!info) {
            return std::nullopt;
        }
        const auto parent = info->parentPID;
        // pid 1 is init, 0 the kernel: no application lives above them.
        if (parent < 2 || parent == current) {
            return std::nullopt;
        }
        if (const auto application = runningApplication(parent);
            application && application->activationPolicy != ActivationPolicy::prohibited) {
            return ParentApplication{
                parent,
                application->localizedName.value_or(application->bundleIdentifier.value_or("App")),
                application->bundleIdentifier};
        }
        current = parent;
    }
    return std::nullopt;
}

std::optional<SystemProcessMetadataProvider::KernelInfo>
SystemProcessMetadataProvider::kernelInfo(std::int32_t pid) const {
    const auto stat = proc_.stat(pid);
    if (!stat || stat->hasExited()) {
        return std::nullopt;
    }
    const auto userID = proc_.realUserID(pid);
    const auto startTime = proc_.startTime(stat->startTicks);
    if (!userID || !startTime) {
        return std::nullopt;
    }
    return KernelInfo{stat->parentPID, *userID, *startTime};
}

std::optional<RunningApplication>
SystemProcessMetadataProvider::runningApplication(std::int32_t pid) const {
    if (!registry_) {
        return std::nullopt;
    }
    return registry_->runningApplication(pid);
}

std::optional<std::string>
SystemProcessMetadataProvider::runningApplicationName(std::int32_t pid) const {
    // Here the application id wins over the display name: it names the process
    // unambiguously in identity checks.
    const auto application = runningApplication(pid);
    if (!application) {
        return std::nullopt;
    }
    if (application->bundleIdentifier) {
        return application->bundleIdentifier;
    }
    return application->localizedName;
}

std::optional<std::string> SystemProcessMetadataProvider::processName(std::int32_t pid) const {
    const auto name = proc_.commandName(pid);
    if (!name) {
        return std::nullopt;
    }
    return decodeUtf8Lossy(*name);
}

std::optional<std::string> SystemProcessMetadataProvider::executablePath(std::int32_t pid) const {
    const auto path = proc_.executablePath(pid);
    if (!path) {
        return std::nullopt;
    }
    return decodeUtf8Lossy(*path);
}

} // namespace tovo
