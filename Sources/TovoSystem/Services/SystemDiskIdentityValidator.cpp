#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"

#include <algorithm>
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

std::optional<ExternalDisk>
SystemDiskIdentityValidator::match(const ExternalDisk& chosen,
                                   const std::vector<ExternalDisk>& listed) {
    if (!chosen.attachmentID) {
        return std::nullopt;
    }
    for (const auto& current : listed) {
        if (current.attachmentID != chosen.attachmentID) {
            continue;
        }
        const auto uuids = volumeUUIDs(chosen);
        const auto paths = mountPaths(chosen);
        if (std::ranges::includes(uuids, volumeUUIDs(current)) &&
            std::ranges::includes(paths, mountPaths(current)) &&
            current.mediaUUID == chosen.mediaUUID) {
            return current;
        }
        return std::nullopt;
    }
    return std::nullopt;
}

Task<ExternalDisk> SystemDiskIdentityValidator::validate(ExternalDisk disk) {
    if (!disk.attachmentID) {
        throw identityChanged();
    }
    const auto listed = co_await provider_.mountedExternalDisks();
    auto current = match(disk, listed);
    if (!current) {
        throw identityChanged();
    }
    co_return std::move(*current);
}

} // namespace tovo
