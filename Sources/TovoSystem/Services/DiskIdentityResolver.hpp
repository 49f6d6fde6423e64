#pragma once

#include "TovoSystem/Services/DiskIdentity.hpp"
#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

namespace tovo {

/// One mounted volume's block device and the disk it belongs to.
struct ResolvedVolumeDevice {
    DeviceNode device;
    ResolvedDiskIdentity resolved;
    bool isRemovable;
    bool isExternal;

    std::optional<std::string> fileSystemUUID() const;
    /// The label with udev's escapes decoded and malformed UTF-8 replaced; absent when blank.
    std::optional<std::string> fileSystemLabel() const;
    std::optional<std::string> fileSystemType() const;
};

/// Which whole disk a volume is on, whether it is hardware the user can detach, and
/// what identifies it (its diskseq) so that a replugged disk is noticed.
class DiskIdentityResolver {
public:
    explicit DiskIdentityResolver(const DeviceTree& tree)
        : tree_(tree) {}

    /// `volumeDevice` is the block device a mount sits on: see MountDevice::blockDevice.
    ResolvedVolumeDevice resolve(const DeviceNode& volumeDevice) const;

    /// What the logical whole disk says of itself: name, partition-table UUID, size.
    static WholeDiskDescription describe(const DeviceNode& wholeDisk);

private:
    const DeviceTree& tree_;
};

} // namespace tovo
