// A device tree written by a test or benchmark, and builders for the usual disks.
#pragma once

#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

#include <cctype>
#include <cstdio>

namespace tovo::testing {

using Properties = std::map<std::string, std::string>;

/// A device tree written by the test. A node's parent is its nearest ancestor path
/// that is a node, as in sysfs.
class FakeDeviceTree final : public DeviceTree {
public:
    std::map<std::string, DeviceNode> nodes;    ///< by devPath
    std::map<std::string, std::string> sources; ///< mount source -> devPath
    std::map<std::string, std::vector<std::string>> slaveLinks;

    /// Adds a node named by the last component of `devPath`; block devices get
    /// 1,000,000 sectors, the source "/dev/<name>" and a device number as Linux
    /// numbers them: "sdb1" 8:17, "loop0" 7:0, others 259:<n> in order of adding.
    DeviceNode& add(const std::string& devPath, const std::string& subsystem,
                    std::string devType = "", std::optional<std::uint64_t> diskSequence = {},
                    Properties properties = {}) {
        DeviceNode node{.devPath = devPath,
                        .kernelName = devPath.substr(devPath.rfind('/') + 1),
                        .subsystem = subsystem,
                        .devType = std::move(devType),
                        .diskSequence = diskSequence,
                        .properties = std::move(properties)};
        if (node.isBlock()) {
            node.sizeInSectors = 1'000'000;
            sources["/dev/" + node.kernelName] = devPath;
            char letter = 0;
            unsigned number = 0;
            const auto name = node.kernelName.c_str();
            if (std::sscanf(name, "sd%c%u", &letter, &number) >= 1 && std::islower(letter)) {
                node.major = 8, node.minor = 16 * unsigned(letter - 'a') + number;
            } else if (std::sscanf(name, "loop%u", &number) == 1) {
                node.major = 7, node.minor = number;
            } else {
                node.major = 259, node.minor = nextExtendedMinor_++;
            }
        }
        return nodes[devPath] = std::move(node);
    }
    const DeviceNode& named(const std::string& source) const {
        return nodes.at(sources.at(source));
    }
    /// A device built on others (dm, md), under /devices/virtual/block.
    void addStacked(const std::string& name, std::vector<std::string> below) {
        const auto devPath = "/devices/virtual/block/" + name;
        add(devPath, "block", "disk", 900).slaveCount = below.size();
        slaveLinks[devPath] = std::move(below);
    }

    std::optional<DeviceNode> blockDevice(unsigned major, unsigned minor) const override {
        for (const auto& [path, node] : nodes) {
            if (node.isBlock() && major != 0 && node.major == major && node.minor == minor) {
                return node;
            }
        }
        return std::nullopt;
    }
    std::optional<DeviceNode> blockDeviceOfSource(const std::string& source) const override {
        const auto found = sources.find(source);
        return found == sources.end() ? std::nullopt : std::optional(nodes.at(found->second));
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
        if (const auto links = slaveLinks.find(node.devPath); links != slaveLinks.end()) {
            for (const auto& path : links->second) {
                result.push_back(nodes.at(path));
            }
        }
        return result;
    }

private:
    unsigned nextExtendedMinor_ = 0;
};

/// A whole disk of 2,000,000 sectors at `diskPath` with partitions "<diskPath>/<disk><n>".
inline void addPartitionedDisk(FakeDeviceTree& tree, const std::string& diskPath,
                               std::uint64_t diskSequence, bool removable,
                               Properties diskProperties,
                               const std::vector<Properties>& partitions) {
    tree.add("/devices/pci0000:00", "pci");
    auto& disk = tree.add(diskPath, "block", "disk", diskSequence, std::move(diskProperties));
    disk.isRemovable = removable;
    disk.sizeInSectors = 2'000'000;
    for (std::size_t i = 0; i < partitions.size(); ++i) {
        tree.add(diskPath + "/" + disk.kernelName + std::to_string(i + 1), "block", "partition",
                 std::nullopt, partitions[i]);
    }
}

/// A disk on USB with partitions: "/devices/.../usb2/<port>/.../block/<disk>/<disk><n>".
/// Returns the disk's path.
inline std::string addUsbDisk(FakeDeviceTree& tree, const std::string& disk,
                              std::uint64_t diskSequence, bool removable, Properties diskProperties,
                              const std::vector<Properties>& partitions,
                              const std::string& port = "2-1") {
    const auto host = "/devices/pci0000:00/0000:00:14.0/usb2/" + port;
    tree.add(host, "usb");
    tree.add(host + "/" + port + ":1.0", "usb");
    const auto scsi = host + "/" + port + ":1.0/host6/target6:0:0/6:0:0:0";
    tree.add(scsi, "scsi");
    addPartitionedDisk(tree, scsi + "/block/" + disk, diskSequence, removable,
                       std::move(diskProperties), partitions);
    return scsi + "/block/" + disk;
}

inline void addInternalDisk(FakeDeviceTree& tree, const std::string& disk,
                            std::uint64_t diskSequence, const std::vector<Properties>& partitions) {
    const std::string ata = "/devices/pci0000:00/0000:00:17.0/ata1";
    tree.add(ata, "ata");
    addPartitionedDisk(tree, ata + "/host0/target0:0:0/0:0:0:0/block/" + disk, diskSequence, false,
                       {{"ID_MODEL", "Internal_SSD"}}, partitions);
}

/// A loop device showing a file (a disk image), or a virtual device without one.
inline void addLoopImage(FakeDeviceTree& tree, const std::string& loop, std::uint64_t diskSequence,
                         Properties properties, bool hasBackingFile = true) {
    auto& node = tree.add("/devices/virtual/block/" + loop, "block", "disk", diskSequence,
                          std::move(properties));
    node.sizeInSectors = 4096;
    node.hasBackingFile = hasBackingFile;
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
