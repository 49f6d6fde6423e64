#include "TovoSystem/Services/DiskIdentity.hpp"

#include "TovoCore/Models/Error.hpp"

namespace tovo::DiskIdentityChoice {

std::optional<std::string> deviceName(const std::vector<std::optional<std::string>>& candidates) {
    for (const auto& candidate : candidates) {
        if (!candidate) {
            continue;
        }
        auto name = trimmed(*candidate);
        if (!name.empty()) {
            return name;
        }
    }
    return std::nullopt;
}

std::optional<WholeDiskIdentity> choose(const std::optional<PhysicalIOMediaIdentity>& physical,
                                        const WholeDiskDescription& logical) {
    const auto name = deviceName(logical.nameCandidates);
    if (physical) {
        return WholeDiskIdentity{"io:" + std::to_string(physical->registryEntryID),
                                 physical->registryEntryID,
                                 physical->mediaUUID,
                                 physical->bsdName ? physical->bsdName : logical.bsdName,
                                 name,
                                 physical->mediaSize ? physical->mediaSize : logical.mediaSize};
    }
    std::string grouping;
    if (logical.bsdName) {
        grouping = "logical:" + *logical.bsdName;
    } else if (logical.mediaUUID) {
        grouping = "logical-media:" + *logical.mediaUUID;
    } else {
        return std::nullopt;
    }
    return WholeDiskIdentity{std::move(grouping), std::nullopt, std::nullopt,
                             logical.bsdName,     name,         logical.mediaSize};
}

} // namespace tovo::DiskIdentityChoice
