#include "TovoSystem/Services/DiskIdentityResolver.hpp"

#include "TovoCore/Models/Error.hpp"
#include "TovoCore/Services/Utf8.hpp"
#include "TovoSystem/Linux/UdevText.hpp"
#include "TovoSystem/Services/DiskIdentityWalk.hpp"

#include <limits>

namespace tovo {

namespace {

std::optional<std::string> decodedProperty(const DeviceNode& node, const std::string& encodedKey,
                                           const std::string& plainKey) {
    if (auto encoded = node.property(encodedKey)) {
        return decodeUtf8Lossy(UdevText::decode(*encoded));
    }
    if (auto plain = node.property(plainKey)) {
        return decodeUtf8Lossy(*plain);
    }
    return std::nullopt;
}

std::optional<std::string> nonBlank(std::optional<std::string> text) {
    if (text && trimmed(*text).empty()) {
        return std::nullopt;
    }
    return text;
}

} // namespace

std::optional<std::string> ResolvedVolumeDevice::fileSystemUUID() const {
    return nonBlank(device.property("ID_FS_UUID"));
}

std::optional<std::string> ResolvedVolumeDevice::fileSystemLabel() const {
    return nonBlank(decodedProperty(device, "ID_FS_LABEL_ENC", "ID_FS_LABEL"));
}

std::optional<std::string> ResolvedVolumeDevice::fileSystemType() const {
    return nonBlank(device.property("ID_FS_TYPE"));
}

WholeDiskDescription DiskIdentityResolver::describe(const DeviceNode& wholeDisk) {
    const auto vendor = nonBlank(decodedProperty(wholeDisk, "ID_VENDOR_ENC", "ID_VENDOR"));
    const auto model = nonBlank(decodedProperty(wholeDisk, "ID_MODEL_ENC", "ID_MODEL"));
    std::optional<std::string> vendorAndModel;
    if (vendor && model) {
        vendorAndModel = trimmed(*vendor) + " " + trimmed(*model);
    }
    std::optional<std::int64_t> size;
    if (wholeDisk.sizeInSectors && *wholeDisk.sizeInSectors >= 0 &&
        *wholeDisk.sizeInSectors <= std::numeric_limits<std::int64_t>::max() / 512) {
        size = *wholeDisk.sizeInSectors * 512;
    }
    return WholeDiskDescription{wholeDisk.kernelName.empty()
                                    ? std::nullopt
                                    : std::optional<std::string>(wholeDisk.kernelName),
                                nonBlank(wholeDisk.property("ID_PART_TABLE_UUID")),
                                {vendorAndModel, model},
                                size};
}

ResolvedVolumeDevice DiskIdentityResolver::resolve(const DeviceNode& volumeDevice) const {
    const auto whole = DiskIdentityWalk::wholeDisk(tree_, volumeDevice);
    const auto description = describe(whole);
    const auto walk = DiskIdentityWalk::scan(DiskIdentityWalk::chain(tree_, volumeDevice));
    return ResolvedVolumeDevice{
        volumeDevice,
        ResolvedDiskIdentity{DiskIdentityChoice::choose(walk.scan.physicalMedia, description),
                             description.bsdName, walk.scan.isVirtual},
        walk.isRemovable, walk.isExternal};
}

} // namespace tovo
