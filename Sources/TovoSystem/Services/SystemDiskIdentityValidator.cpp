#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"

#include <set>

namespace tovo {

namespace {

std::set<std::string> volumeUUIDs(const ExternalDisk& disk) {
    std::set<std::string> result;
    for (const auto& volume : disk.volumes) {
        if (volume.volumeUUID) {
            result.insert(*volume.volumeUUID);
        }
    }
    return result;
}

std::set<std::filesystem::path> mountPaths(const ExternalDisk& disk) {
    std::set<std::filesystem::path> result;
    for (const auto& url : disk.mountURLs()) {
        result.insert(url.lexically_normal());
    }
    return result;
}

EjectionFailure identityChanged() {
    return EjectionFailure(SystemDiskIdentityValidator::changedMessage, std::nullopt,
                           EjectionFailureKind::identityChanged, std::nullopt, std::nullopt);
}

} // namespace

bool SystemDiskIdentityValidator::matches(const ExternalDisk& chosen,
                                          const std::vector<ExternalDisk>& listed) {
    if (!chosen.attachmentID) {
        return false;
    }
    for (const auto& current : listed) {
        if (current.attachmentID != chosen.attachmentID) {
            continue;
        }
        return volumeUUIDs(current) == volumeUUIDs(chosen) &&
               mountPaths(current) == mountPaths(chosen) && current.mediaUUID == chosen.mediaUUID;
    }
    return false;
}

Task<void> SystemDiskIdentityValidator::validate(ExternalDisk disk) {
    if (!disk.attachmentID) {
        throw identityChanged();
    }
    const auto listed = co_await provider_.mountedExternalDisks();
    if (!matches(disk, listed)) {
        throw identityChanged();
    }
}

} // namespace tovo
