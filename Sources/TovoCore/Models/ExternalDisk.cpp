#include "TovoCore/Models/ExternalDisk.hpp"

#include "TovoCore/Models/CheckedArithmetic.hpp"
#include "TovoCore/Models/Hashing.hpp"

#include <algorithm>
#include <map>
#include <set>

namespace tovo {

namespace {

// Volumes of one pool report the pool's figures each: count every pool once, and
// take its smallest report.
std::optional<std::int64_t> pooledCapacity(const std::vector<DiskVolume>& volumes,
                                           std::optional<std::int64_t> DiskVolume::*field) {
    std::map<std::string, std::int64_t> pools;
    for (const auto& volume : volumes) {
        const auto value = volume.*field;
        if (!value) {
            continue;
        }
        auto key = volume.capacityPoolID ? *volume.capacityPoolID : "volume:" + volume.id;
        auto [entry, inserted] = pools.emplace(std::move(key), *value);
        if (!inserted) {
            entry->second = std::min(entry->second, *value);
        }
    }
    if (pools.empty()) {
        return std::nullopt;
    }
    std::int64_t sum = 0;
    for (const auto& [key, bytes] : pools) {
        sum = checkedAdd(sum, bytes);
    }
    return sum;
}

} // namespace

std::optional<std::filesystem::path> ExternalDisk::primaryMountURL() const {
    if (volumes.empty()) {
        return std::nullopt;
    }
    return volumes.front().mountURL;
}

std::vector<std::filesystem::path> ExternalDisk::mountURLs() const {
    std::vector<std::filesystem::path> urls;
    urls.reserve(volumes.size());
    for (const auto& volume : volumes) {
        urls.push_back(volume.mountURL);
    }
    return urls;
}

std::optional<std::int64_t> ExternalDisk::totalCapacity() const {
    if (physicalCapacity) {
        return physicalCapacity;
    }
    return pooledCapacity(volumes, &DiskVolume::totalCapacity);
}

std::optional<std::int64_t> ExternalDisk::availableCapacity() const {
    return pooledCapacity(volumes, &DiskVolume::availableCapacity);
}

std::string ExternalDisk::formatSummary() const {
    std::set<std::string> formats;
    for (const auto& volume : volumes) {
        if (volume.formatDescription) {
            formats.insert(*volume.formatDescription);
        }
    }
    if (formats.empty()) {
        return "External disk";
    }
    std::string summary;
    for (const auto& format : formats) {
        if (!summary.empty()) {
            summary += " + ";
        }
        summary += format;
    }
    return summary;
}

} // namespace tovo

std::size_t std::hash<tovo::DiskVolume>::operator()(const tovo::DiskVolume& v) const noexcept {
    std::size_t seed = 0;
    tovo::hashCombine(seed, v.id);
    tovo::hashCombine(seed, v.volumeUUID);
    tovo::hashCombine(seed, v.capacityPoolID);
    tovo::hashCombine(seed, v.name);
    tovo::hashCombine(seed, v.mountURL.native());
    tovo::hashCombine(seed, v.totalCapacity);
    tovo::hashCombine(seed, v.availableCapacity);
    tovo::hashCombine(seed, v.formatDescription);
    tovo::hashCombine(seed, v.isReadOnly);
    return seed;
}

std::size_t std::hash<tovo::ExternalDisk>::operator()(const tovo::ExternalDisk& d) const noexcept {
    std::size_t seed = 0;
    tovo::hashCombine(seed, d.id);
    tovo::hashCombine(seed, d.displayName);
    tovo::hashCombine(seed, d.deviceName);
    tovo::hashCombine(seed, d.mediaUUID);
    tovo::hashCombine(seed, d.attachmentID);
    tovo::hashCombine(seed, d.wholeDiskIdentifier);
    tovo::hashCombine(seed, d.volumes);
    tovo::hashCombine(seed, d.physicalCapacity);
    return seed;
}
