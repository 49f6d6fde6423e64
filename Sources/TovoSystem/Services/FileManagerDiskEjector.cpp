#include "TovoSystem/Services/FileManagerDiskEjector.hpp"

#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"

namespace tovo {

namespace {

EjectionFailure identityChanged(std::optional<std::string> domain = std::nullopt) {
    return EjectionFailure(SystemDiskIdentityValidator::changedMessage, std::nullopt,
                           EjectionFailureKind::identityChanged, std::move(domain), std::nullopt);
}

} // namespace

EjectionFailure FileManagerDiskEjector::failure(const UnmountError& error) {
    if (error.name == UnmountError::identityChangedName) {
        return identityChanged(error.name);
    }
    // Still mounted elsewhere is busy too: the user must release the disk first.
    const bool busy = error.name == busyErrorName || error.name == UnmountError::stillInUseName;
    return EjectionFailure(error.message, error.dissentingProcessID,
                           busy ? EjectionFailureKind::busy : EjectionFailureKind::other,
                           error.name, error.errorCode);
}

Task<void> FileManagerDiskEjector::eject(ExternalDisk disk) {
    // Named: GCC 12 mishandles temporaries inside co_await.
    auto validation = identityValidator_.validate(disk);
    const auto proved = co_await validation;
    // What is mounted now: an earlier refusal may have left some volumes unmounted.
    auto mountPaths = proved.mountURLs();
    if (mountPaths.empty()) {
        throw EjectionFailure(notMountedMessage, std::nullopt, EjectionFailureKind::identityChanged,
                              std::nullopt, std::nullopt);
    }
    // The unmounter holds the device to exactly what was proved.
    if (!proved.wholeDiskIdentifier || !proved.attachmentID ||
        proved.wholeDiskIdentifier != disk.wholeDiskIdentifier) {
        throw identityChanged();
    }
    try {
        auto task = unmounter_.unmountAndEject(
            ProvedDisk{*proved.wholeDiskIdentifier, *proved.attachmentID, std::move(mountPaths)});
        co_await task;
    } catch (const UnmountError& error) {
        throw failure(error);
    }
}

} // namespace tovo
