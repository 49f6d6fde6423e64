#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"

#include "TovoCore/Services/Utf8.hpp"

namespace tovo {

struct SystemProcessMetadataProvider::Memo {
    std::mutex mutex;
    std::optional<std::optional<std::uint64_t>> bootTime;
    std::map<std::int32_t, std::optional<KernelInfo>> kernelInfo;
    std::map<std::int32_t, std::optional<RunningApplication>> applications;
};

std::shared_ptr<const ProcessMetadataProviding>
SystemProcessMetadataProvider::forOneDiagnosis() const {
    auto session = std::make_shared<SystemProcessMetadataProvider>(registry_, proc_);
    session->memo_ = std::make_shared<Memo>();
    return session;
}

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
    std::optional<std::uint64_t> bootTime;
    if (memo_) {
        const std::lock_guard lock(memo_->mutex);
        if (const auto known = memo_->kernelInfo.find(pid); known != memo_->kernelInfo.end()) {
            return known->second;
        }
        if (!memo_->bootTime) {
            memo_->bootTime = proc_.bootTime();
        }
        bootTime = *memo_->bootTime;
    }
    const auto stat = proc_.stat(pid);
    std::optional<KernelInfo> info;
    if (stat && !stat->hasExited()) {
        const auto userID = proc_.realUserID(pid);
        const auto startTime =
            memo_ ? (bootTime ? proc_.startTime(stat->startTicks, *bootTime) : std::nullopt)
                  : proc_.startTime(stat->startTicks);
        if (userID && startTime) {
            info = KernelInfo{stat->parentPID, *userID, *startTime};
        }
    }
    if (memo_) {
        const std::lock_guard lock(memo_->mutex);
        memo_->kernelInfo.emplace(pid, info);
    }
    return info;
}

std::optional<RunningApplication>
SystemProcessMetadataProvider::runningApplication(std::int32_t pid) const {
    if (!registry_) {
        return std::nullopt;
    }
    if (!memo_) {
        return registry_->runningApplication(pid);
    }
    {
        const std::lock_guard lock(memo_->mutex);
        if (const auto known = memo_->applications.find(pid); known != memo_->applications.end()) {
            return known->second;
        }
    }
    auto application = registry_->runningApplication(pid);
    const std::lock_guard lock(memo_->mutex);
    memo_->applications.emplace(pid, application);
    return application;
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
