#include "TovoSystem/Services/DiskIdentityWalk.hpp"

#include "TovoSystem/Services/MediaTransportEligibility.hpp"

#include <array>
#include <limits>
#include <string_view>

namespace tovo::DiskIdentityWalk {

namespace {

// Deeper than any real stack; guards against a cyclic tree.
constexpr std::size_t maximumDepth = 64;

bool isExternalBus(const std::string& subsystem) {
    static constexpr std::array<std::string_view, 4> buses{"usb", "ieee1394", "thunderbolt", "mmc"};
    for (auto bus : buses) {
        if (subsystem == bus) {
            return true;
        }
    }
    return false;
}

std::optional<std::uint64_t> attachmentOf(const DeviceNode& node) {
    if (node.diskSequence) {
        return node.diskSequence;
    }
    return node.initializedMicroseconds;
}

} // namespace

Transport transport(const DeviceNode& node) {
    Transport result{std::nullopt, std::nullopt, node.isBlock() && node.hasBackingFile};
    if (node.devPath.starts_with("/devices/virtual/") && node.slaveCount == 0) {
        result.physicalInterconnect = "Virtual";
    }
    if (isExternalBus(node.subsystem)) {
        result.physicalInterconnectLocation = "External";
    }
    return result;
}

Result scan(const std::vector<DeviceNode>& chain) {
    bool isVirtual = false;
    bool isExternal = false;
    std::optional<PhysicalIOMediaIdentity> candidate;
    bool candidateRemovable = false;
    for (const auto& node : chain) {
        const auto facts = transport(node);
        if (!isVirtual) {
            isVirtual = MediaTransportEligibility::isVirtual(
                std::nullopt, facts.physicalInterconnect, facts.physicalInterconnectLocation,
                facts.hasDiskImage);
        }
        if (!isExternal && facts.physicalInterconnectLocation) {
            isExternal = MediaTransportEligibility::equalsIgnoringCase(
                *facts.physicalInterconnectLocation, "External");
        }
        const auto id = attachmentOf(node);
        if (node.isBlock() && node.devType == "disk" && id) {
            std::optional<std::int64_t> size;
            if (node.sizeInSectors && *node.sizeInSectors >= 0 &&
                *node.sizeInSectors <= std::numeric_limits<std::int64_t>::max() / 512) {
                size = *node.sizeInSectors * 512;
            }
            candidate = PhysicalIOMediaIdentity{*id, node.property("ID_PART_TABLE_UUID"),
                                                node.kernelName, size};
            candidateRemovable = node.isRemovable;
        }
    }
    const bool physical = candidate && (candidateRemovable || isExternal);
    return Result{IOMediaScan{physical ? candidate : std::nullopt, isVirtual}, isExternal,
                  candidate && candidateRemovable};
}

std::vector<DeviceNode> chain(const DeviceTree& tree, const DeviceNode& start) {
    std::vector<DeviceNode> nodes{start};
    while (nodes.size() < maximumDepth) {
        const auto& current = nodes.back();
        std::optional<DeviceNode> next;
        if (current.isBlock() && current.slaveCount == 1) {
            auto below = tree.slaves(current);
            if (below.size() == 1) {
                next = std::move(below.front());
            }
        } else {
            next = tree.parent(current);
        }
        if (!next) {
            break;
        }
        nodes.push_back(std::move(*next));
    }
    return nodes;
}

DeviceNode wholeDisk(const DeviceTree& tree, const DeviceNode& node) {
    DeviceNode current = node;
    for (std::size_t depth = 0; depth < maximumDepth; ++depth) {
        if (current.devType == "partition") {
            auto disk = tree.parent(current);
            if (!disk || !disk->isBlock()) {
                return current;
            }
            current = std::move(*disk);
        } else if (current.slaveCount == 1) {
            auto below = tree.slaves(current);
            if (below.size() != 1) {
                return current;
            }
            current = std::move(below.front());
        } else {
            return current;
        }
    }
    return current;
}

} // namespace tovo::DiskIdentityWalk
