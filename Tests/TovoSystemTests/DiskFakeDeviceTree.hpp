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

    const DeviceNode& add(DeviceNode node, std::optional<std::string> source = std::nullopt) {
        if (source) {
            sources[*source] = node.devPath;
        }
        auto path = node.devPath;
        return nodes.insert_or_assign(path, std::move(node)).first->second;
    }

    void addBus(const std::string& devPath, const std::string& subsystem) {
        add(DeviceNode{devPath,
                       devPath.substr(devPath.rfind('/') + 1),
                       subsystem,
                       "",
                       {},
                       {},
                       {},
                       false,
                       false,
                       0,
                       {}});
    }

    /// A whole disk at `devPath` named by its last component, source "/dev/<name>".
    void addDisk(const std::string& devPath, std::optional<std::uint64_t> diskSequence,
                 bool removable, Properties properties = {}, std::int64_t sectors = 2'000'000) {
        const auto name = devPath.substr(devPath.rfind('/') + 1);
        add(DeviceNode{devPath, name, "block", "disk", diskSequence, std::nullopt, sectors,
                       removable, false, 0, std::move(properties)},
            "/dev/" + name);
    }

    void addPartition(const std::string& devPath, Properties properties) {
        const auto name = devPath.substr(devPath.rfind('/') + 1);
        add(DeviceNode{devPath, name, "block", "partition", std::nullopt, std::nullopt, 1'000'000,
                       false, false, 0, std::move(properties)},
            "/dev/" + name);
    }

    /// A device built on others (dm, md), under /devices/virtual/block.
    void addStacked(const std::string& name, std::vector<std::string> below,
                    Properties properties) {
        const auto devPath = "/devices/virtual/block/" + name;
        add(DeviceNode{devPath, name, "block", "disk", 900, std::nullopt, 1'000'000, false, false,
                       below.size(), std::move(properties)},
            "/dev/" + name);
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
        while (true) {
            const auto slash = path.rfind('/');
            if (slash == std::string::npos || slash == 0) {
                return std::nullopt;
            }
            path.resize(slash);
            if (const auto found = nodes.find(path); found != nodes.end()) {
                return found->second;
            }
        }
    }

    std::vector<DeviceNode> slaves(const DeviceNode& node) const override {
        std::vector<DeviceNode> result;
        if (const auto found = slaveLinks.find(node.devPath); found != slaveLinks.end()) {
            for (const auto& path : found->second) {
                result.push_back(nodes.at(path));
            }
        }
        return result;
    }
};

inline const std::string usbHost = "/devices/pci0000:00/0000:00:14.0/usb2/2-1";

/// A disk on USB with partitions: "<usbHost>/.../block/<disk>/<disk><n>".
inline void addUsbDisk(FakeDeviceTree& tree, const std::string& disk, std::uint64_t diskSequence,
                       bool removable, Properties diskProperties,
                       const std::vector<Properties>& partitions, const std::string& port = "2-1") {
    const auto host = "/devices/pci0000:00/0000:00:14.0/usb2/" + port;
    tree.addBus("/devices/pci0000:00", "pci");
    tree.addBus(host, "usb");
    tree.addBus(host + "/" + port + ":1.0", "usb");
    const auto scsi = host + "/" + port + ":1.0/host6/target6:0:0/6:0:0:0";
    tree.addBus(scsi, "scsi");
    const auto diskPath = scsi + "/block/" + disk;
    tree.addDisk(diskPath, diskSequence, removable, std::move(diskProperties));
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        tree.addPartition(diskPath + "/" + disk + std::to_string(i + 1), partitions[i]);
    }
}

/// An internal SATA disk with partitions.
inline void addInternalDisk(FakeDeviceTree& tree, const std::string& disk,
                            std::uint64_t diskSequence, const std::vector<Properties>& partitions) {
    tree.addBus("/devices/pci0000:00", "pci");
    tree.addBus("/devices/pci0000:00/0000:00:17.0/ata1", "ata");
    const auto diskPath =
        "/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/" + disk;
    tree.addDisk(diskPath, diskSequence, false, {{"ID_MODEL", "Internal_SSD"}});
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        tree.addPartition(diskPath + "/" + disk + std::to_string(i + 1), partitions[i]);
    }
}

/// A loop device showing a file (a disk image), with optional partitions.
inline void addLoopImage(FakeDeviceTree& tree, const std::string& loop, std::uint64_t diskSequence,
                         Properties properties, bool hasBackingFile = true) {
    const auto path = "/devices/virtual/block/" + loop;
    tree.add(DeviceNode{path, loop, "block", "disk", diskSequence, std::nullopt, 4096, false,
                        hasBackingFile, 0, std::move(properties)},
             "/dev/" + loop);
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
