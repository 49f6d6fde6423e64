#include "TovoSystem/Services/FileManagerDiskEjector.hpp"

namespace tovo {

EjectionFailure FileManagerDiskEjector::failure(const UnmountError& error) {
    const auto kind =
        error.name == busyErrorName ? EjectionFailureKind::busy : EjectionFailureKind::other;
    return EjectionFailure(error.message, error.dissentingProcessID, kind, error.name,
                           error.errorCode);
}

Task<void> FileManagerDiskEjector::eject(ExternalDisk disk) {
    co_await identityValidator_.validate(disk);
    const auto mountPath = disk.primaryMountURL();
    if (!mountPath) {
        throw EjectionFailure(notMountedMessage, std::nullopt, EjectionFailureKind::identityChanged,
                              std::nullopt, std::nullopt);
    }
    try {
        co_await unmounter_.unmountAndEject(*mountPath, disk.wholeDiskIdentifier);
    } catch (const UnmountError& error) {
        throw failure(error);
    }
}

} // namespace tovo
