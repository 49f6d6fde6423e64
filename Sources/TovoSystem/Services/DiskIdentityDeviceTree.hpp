#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// One entry of the kernel's device tree, with the facts disk identity needs.
struct DeviceNode {
    std::string devPath;    ///< "/devices/pci0000:00/.../block/sdb/sdb1"
    std::string kernelName; ///< "sdb1"
    std::string subsystem;  ///< "block", "usb", "scsi", ...
    std::string devType;    ///< "disk", "partition", "usb_device", ...
    unsigned major = 0;     ///< device number; 0:0 for nodes that are not devices
    unsigned minor = 0;
    std::optional<std::uint64_t> diskSequence;
    std::optional<std::uint64_t> initializedMicroseconds; ///< udev's USEC_INITIALIZED
    std::optional<std::int64_t> sizeInSectors;            ///< 512-byte units
    bool isRemovable = false;
    bool hasBackingFile = false;                   ///< a loop device showing a file
    std::size_t slaveCount = 0;                    ///< devices a dm or md device is built on
    std::map<std::string, std::string> properties; ///< udev properties (ID_FS_UUID, ...)

    bool isBlock() const { return subsystem == "block"; }
    std::optional<std::string> property(const std::string& key) const;
    bool operator==(const DeviceNode&) const = default;
};

/// The device tree as disk identity walks it. Linux: libudev; tests: a fixture.
/// One tree serves one listing on one thread.
class DeviceTree {
public:
    virtual ~DeviceTree() = default;
    /// The block device with this number; absent for anonymous numbers (major 0).
    virtual std::optional<DeviceNode> blockDevice(unsigned major, unsigned minor) const = 0;
    /// The block device a path names. The mounter wrote a mount's source text, so
    /// this is only a candidate that something the kernel wrote must confirm.
    virtual std::optional<DeviceNode> blockDeviceOfSource(const std::string& mountSource) const = 0;
    virtual std::optional<DeviceNode> parent(const DeviceNode& node) const = 0;
    virtual std::vector<DeviceNode> slaves(const DeviceNode& node) const = 0;
};

} // namespace tovo
