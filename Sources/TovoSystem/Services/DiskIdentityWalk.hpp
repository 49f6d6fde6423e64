#pragma once

#include "TovoSystem/Services/DiskIdentity.hpp"
#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

#include <vector>

namespace tovo {

/// The walk from a volume's device up to the hardware it hangs on.
namespace DiskIdentityWalk {

/// How one device describes its transport, in the terms `isVirtual` judges.
struct Transport {
    std::optional<std::string> physicalInterconnect;
    std::optional<std::string> physicalInterconnectLocation;
    bool hasDiskImage;

    bool operator==(const Transport&) const = default;
};

struct Result {
    IOMediaScan scan;
    bool isExternal;
    bool isRemovable; ///< the chosen whole disk says so

    bool operator==(const Result&) const = default;
};

/// A loop device with a backing file is a disk image; a device under /devices/virtual/
/// that is not built on others is virtual; usb, ieee1394, thunderbolt and mmc are external.
Transport transport(const DeviceNode& node);

/// Accumulates over `chain`, lowest first: virtual and external stick once seen, the
/// highest whole disk wins, and it is physical media only when removable or external.
Result scan(const std::vector<DeviceNode>& chain);

/// `start`, then up the tree; a device built on exactly one other continues there.
std::vector<DeviceNode> chain(const DeviceTree& tree, const DeviceNode& start);

/// A partition's disk; for dm and md, the whole disk under their single slave.
DeviceNode wholeDisk(const DeviceTree& tree, const DeviceNode& node);

} // namespace DiskIdentityWalk

} // namespace tovo
