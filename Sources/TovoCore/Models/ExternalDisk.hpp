#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// One mounted volume of an external disk.
struct DiskVolume {
    std::string id; ///< volume UUID text, else the mount path
    std::optional<std::string> volumeUUID;
    std::optional<std::string> capacityPoolID; ///< shared storage pool, when any
    std::string name;
    std::filesystem::path mountURL;
    std::optional<std::int64_t> totalCapacity;
    std::optional<std::int64_t> availableCapacity;
    std::optional<std::string> formatDescription;
    bool isReadOnly;

    bool operator==(const DiskVolume&) const = default;
};

/// One whole disk that the user can eject as a unit.
struct ExternalDisk {
    std::string id; ///< "attachment:" + attachmentID in decimal
    std::string displayName;
    std::optional<std::string> deviceName;
    std::optional<std::string> mediaUUID;
    std::optional<std::uint64_t> attachmentID;
    std::optional<std::string> wholeDiskIdentifier;
    std::vector<DiskVolume> volumes;
    std::optional<std::int64_t> physicalCapacity;

    bool operator==(const ExternalDisk&) const = default;

    std::optional<std::filesystem::path> primaryMountURL() const;
    std::vector<std::filesystem::path> mountURLs() const;
    /// The physical size when known, else the pooled sum of the volumes' sizes.
    std::optional<std::int64_t> totalCapacity() const;
    /// The pooled sum of the volumes' free space.
    std::optional<std::int64_t> availableCapacity() const;
    /// Distinct format descriptions, sorted, joined by " + "; "External disk" when none.
    std::string formatSummary() const;
};

} // namespace tovo

template<>
struct std::hash<tovo::DiskVolume> {
    std::size_t operator()(const tovo::DiskVolume& volume) const noexcept;
};

template<>
struct std::hash<tovo::ExternalDisk> {
    std::size_t operator()(const tovo::ExternalDisk& disk) const noexcept;
};
