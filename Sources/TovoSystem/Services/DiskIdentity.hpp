#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// What identifies the whole disk a volume sits on, so that a replaced disk is noticed.
struct WholeDiskIdentity {
    std::string groupingID; ///< groups the volumes of one disk
    std::optional<std::uint64_t> attachmentID;
    std::optional<std::string> mediaUUID;
    std::optional<std::string> bsdName; ///< kernel name of the whole disk
    std::optional<std::string> deviceName;
    std::optional<std::int64_t> mediaSize;

    bool operator==(const WholeDiskIdentity&) const = default;
};

struct ResolvedDiskIdentity {
    std::optional<WholeDiskIdentity> identity;
    std::optional<std::string> logicalWholeDiskIdentifier;
    bool isVirtual;

    bool operator==(const ResolvedDiskIdentity&) const = default;
};

/// The physical whole-disk media found on the walk up the device tree.
struct PhysicalIOMediaIdentity {
    std::uint64_t registryEntryID; ///< the disk's attachment: diskseq, else udev's init time
    std::optional<std::string> mediaUUID;
    std::optional<std::string> bsdName;
    std::optional<std::int64_t> mediaSize;

    bool operator==(const PhysicalIOMediaIdentity&) const = default;
};

struct IOMediaScan {
    std::optional<PhysicalIOMediaIdentity> physicalMedia;
    bool isVirtual;

    bool operator==(const IOMediaScan&) const = default;
};

/// What the logical whole disk says about itself.
struct WholeDiskDescription {
    std::optional<std::string> bsdName;
    std::optional<std::string> mediaUUID;
    std::vector<std::optional<std::string>> nameCandidates; ///< best first
    std::optional<std::int64_t> mediaSize;
};

namespace DiskIdentityChoice {

/// The first candidate that is not blank, trimmed.
std::optional<std::string> deviceName(const std::vector<std::optional<std::string>>& candidates);

/// Physical media group as "io:<id>" and can be listed; otherwise the logical disk
/// ("logical:<name>", else "logical-media:<uuid>") still groups its volumes.
std::optional<WholeDiskIdentity> choose(const std::optional<PhysicalIOMediaIdentity>& physical,
                                        const WholeDiskDescription& logical);

} // namespace DiskIdentityChoice

} // namespace tovo
