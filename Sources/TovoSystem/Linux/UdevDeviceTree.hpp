#pragma once

#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

struct udev;
struct udev_device;

namespace tovo {

/// The kernel's device tree through libudev, with udev's properties when udevd has
/// recorded them. libudev is not thread-safe: one tree per listing, on one thread.
class UdevDeviceTree final : public DeviceTree {
public:
    UdevDeviceTree();
    ~UdevDeviceTree() override;
    UdevDeviceTree(const UdevDeviceTree&) = delete;
    UdevDeviceTree& operator=(const UdevDeviceTree&) = delete;

    std::optional<DeviceNode> blockDevice(unsigned major, unsigned minor) const override;
    std::optional<DeviceNode> blockDeviceOfSource(const std::string& mountSource) const override;
    std::optional<DeviceNode> parent(const DeviceNode& node) const override;
    std::vector<DeviceNode> slaves(const DeviceNode& node) const override;

    /// The node at a sysfs path ("/sys/devices/..."), when it exists.
    std::optional<DeviceNode> node(const std::string& sysPath) const;

private:
    udev* udev_;
};

} // namespace tovo
