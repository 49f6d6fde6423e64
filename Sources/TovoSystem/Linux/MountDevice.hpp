#pragma once

#include "TovoSystem/Linux/MountInfo.hpp"
#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

#include <functional>
#include <optional>
#include <string>

namespace tovo {

/// The UUID of the btrfs file system a mount shows, as lower-case 8-4-4-4-12 text;
/// absent when it cannot be read from that very mount.
using BtrfsUUIDReader = std::function<std::optional<std::string>(const MountEntry& mount)>;

/// Which block device a mount really sits on. The mount's source text is whatever
/// its mounter wrote (any user can mount FUSE with fsname=/dev/sdb1), so only what
/// the kernel writes decides: the device number, and for btrfs, whose mounts carry
/// an anonymous number, the file system's own UUID.
namespace MountDevice {

/// The block device of `mount`, absent when it sits on none: pseudo, network and
/// FUSE file systems, and a btrfs whose named device does not carry its UUID.
std::optional<DeviceNode> blockDevice(const MountEntry& mount, const DeviceTree& tree,
                                      const BtrfsUUIDReader& readBtrfsUUID);
/// The same with the UUID read from the system.
std::optional<DeviceNode> blockDevice(const MountEntry& mount, const DeviceTree& tree);

/// Asks the file system mounted at `mount.mountPoint` for its UUID (BTRFS_IOC_FS_INFO),
/// once the opened folder is confirmed to be on that very mount, and on btrfs.
std::optional<std::string> btrfsUUID(const MountEntry& mount);

} // namespace MountDevice

} // namespace tovo
