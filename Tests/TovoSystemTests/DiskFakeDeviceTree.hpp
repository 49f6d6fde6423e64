#pragma once

#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

#include <map>
#include <string>
#include <vector>

namespace tovo::testing {

using Properties = std::map<std::string, std::string>;

/// A device tree written by the test. A node's parent is its nearest ancestor path
/// that is a node, as in sysfs.
class FakeDeviceTree final : public DeviceTree {
public:
    std::map<std::string, DeviceNode> nodes;    ///< by devPath
    std::map<std::string, std::string> sources; ///< mount source -> devPath
    std::map<std::string, std::vector<std::string>> slaveLinks;

    /// Adds a node named by the last component of `devPath`; block devices get the
    /// source "/dev/<name>".
    void add(const std::string& devPath, const std::string& subsystem, std::string devType = "",
             std::optional<std::uint64_t> diskSequence = std::nullopt,
             std::optional<std::int64_t> sectors = std::nullopt, bool removable = false,
             Properties properties = {}, bool hasBackingFile = false, std::size_t slaveCount = 0) {
        const auto name = devPath.substr(devPath.rfind('/') + 1);
        DeviceNode node{devPath,
                        name,
                        subsystem,
                        std::move(devType),
                        diskSequence,
                        std::nullopt,
                        sectors,
                        removable,
                        hasBackingFile,
                        slaveCount,
                        std::move(properties)};
        nodes.insert_or_assign(devPath, std::move(node));
        if (subsystem == "block") {
            sources["/dev/" + name] = devPath;
        }
    }

    void addBus(const std::string& devPath, const std::string& subsystem) {
        add(devPath, subsystem);
    }

    /// A whole disk at `devPath` named by its last component, source "/dev/<name>".
    void addDisk(const std::string& devPath, std::optional<std::uint64_t> diskSequence,
                 bool removable, Properties properties = {}, std::int64_t sectors = 2'000'000) {
        add(devPath, "block", "disk", diskSequence, sectors, removable, std::move(properties));
    }

    void addPartition(const std::string& devPath, Properties properties) {
        add(devPath, "block", "partition", std::nullopt, 1'000'000, false, std::move(properties));
    }

    /// A device built on others (dm, md), under /devices/virtual/block.
    void addStacked(const std::string& name, std::vector<std::string> below,
                    Properties properties) {
        const auto devPath = "/devices/virtual/block/" + name;
        add(devPath, "block", "disk", 900, 1'000'000, false, std::move(properties), false,
            below.size());
        slaveLinks[devPath] = std::move(below);
    }

    std::optional<DeviceNode> blockDeviceOfSource(const std::string& source) const override {
        const auto found = sources.find(source);
        if (found == sources.end()) {
            return std::nullopt;
        }
        return nodes.at(found->second);
    }

    std::optional<DeviceNode> parent(const DeviceNode& node) const override {
        auto path = node.devPath;
        for (auto slash = path.rfind('/'); slash != std::string::npos && slash != 0;
             slash = path.rfind('/')) {
            path.resize(slash);
            if (const auto found = nodes.find(path); found != nodes.end()) {
                return found->second;
            }
        }
        return std::nullopt;
    }

    std::vector<DeviceNode> slaves(const DeviceNode& node) const override {
        std::vector<DeviceNode> result;
        for (const auto& path : slaveLinks.contains(node.devPath) ? slaveLinks.at(node.devPath)
                                                                  : std::vector<std::string>{}) {
            result.push_back(nodes.at(path));
        }
        return result;
    }
};

inline const std::string usbHost = "/devices/pci0000:00/0000:00:14.0/usb2/2-1";

/// A whole disk at `diskPath` with partitions "<diskPath>/<disk><n>".
inline void addPartitionedDisk(FakeDeviceTree& tree, const std::string& diskPath,
                               std::uint64_t diskSequence, bool removable,
                               Properties diskProperties,
                               const std::vector<Properties>& partitions) {
    tree.addBus("/devices/pci0000:00", "pci");
    tree.addDisk(diskPath, diskSequence, removable, std::move(diskProperties));
    const auto disk = diskPath.substr(diskPath.rfind('/') + 1);
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        tree.addPartition(diskPath + "/" + disk + std::to_string(i + 1), partitions[i]);
    }
}

/// A disk on USB with partitions: "<usbHost>/.../block/<disk>/<disk><n>".
inline void addUsbDisk(FakeDeviceTree& tree, const std::string& disk, std::uint64_t diskSequence,
                       bool removable, Properties diskProperties,
                       const std::vector<Properties>& partitions, const std::string& port = "2-1") {
    const auto host = "/devices/pci0000:00/0000:00:14.0/usb2/" + port;
    tree.addBus(host, "usb");
    tree.addBus(host + "/" + port + ":1.0", "usb");
    const auto scsi = host + "/" + port + ":1.0/host6/target6:0:0/6:0:0:0";
    tree.addBus(scsi, "scsi");
    addPartitionedDisk(tree, scsi + "/block/" + disk, diskSequence, removable,
                       std::move(diskProperties), partitions);
}

/// An internal SATA disk with partitions.
inline void addInternalDisk(FakeDeviceTree& tree, const std::string& disk,
                            std::uint64_t diskSequence, const std::vector<Properties>& partitions) {
    tree.addBus("/devices/pci0000:00/0000:00:17.0/ata1", "ata");
    addPartitionedDisk(
        tree, "/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/" + disk,
        diskSequence, false, {{"ID_MODEL", "Internal_SSD"}}, partitions);
}

/// A loop device showing a file (a disk image), or a virtual device without one.
inline void addLoopImage(FakeDeviceTree& tree, const std::string& loop, std::uint64_t diskSequence,
                         Properties properties, bool hasBackingFile = true) {
    tree.add("/devices/virtual/block/" + loop, "block", "disk", diskSequence, 4096, false,
             std::move(properties), hasBackingFile);
}

inline Properties fileSystem(const std::string& uuid, const std::string& labelEncoded,
                             const std::string& type = "ext4") {
    Properties properties{{"ID_FS_UUID", uuid}, {"ID_FS_TYPE", type}};
    if (!labelEncoded.empty()) {
        properties["ID_FS_LABEL_ENC"] = labelEncoded;
    }
    return properties;
}

} // namespace tovo::testing
