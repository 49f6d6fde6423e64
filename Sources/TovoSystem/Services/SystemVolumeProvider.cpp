#include "TovoSystem/Services/SystemVolumeProvider.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoCore/Services/Utf8.hpp"
#include "TovoSystem/Linux/MountInfo.hpp"
#include "TovoSystem/Linux/UdevDeviceTree.hpp"
#include "TovoSystem/Services/CapacityPoolIdentifier.hpp"
#include "TovoSystem/Services/DiskIdentityResolver.hpp"
#include "TovoSystem/Services/FormatDescriptions.hpp"
#include "TovoSystem/Services/NameCollator.hpp"

#include <algorithm>
#include <limits>
#include <sys/statvfs.h>
#include <unordered_map>

namespace tovo {

namespace {

struct DiskGroup {
    std::optional<WholeDiskIdentity> identity;
    std::vector<DiskVolume> volumes;
    bool isEjectableExternal;
};

std::optional<std::int64_t> bytes(unsigned long long blocks, unsigned long long blockSize) {
    if (blockSize != 0 &&
        blocks >
            static_cast<unsigned long long>(std::numeric_limits<std::int64_t>::max()) / blockSize) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(blocks * blockSize);
}

// One file system mounted twice, or bind-mounted, is one volume: its first whole
// ("/") mount stands for it. The kernel's device number names the file system; the
// source text is the mounter's and says nothing.
std::vector<const MountEntry*> distinctFileSystems(const std::vector<MountEntry>& entries) {
    std::vector<const MountEntry*> chosen;
    std::unordered_map<std::string, std::size_t> byDevice;
    for (const auto& entry : entries) {
        const auto key = std::to_string(entry.major) + ":" + std::to_string(entry.minor);
        const auto [found, inserted] = byDevice.emplace(key, chosen.size());
        if (inserted) {
            chosen.push_back(&entry);
        } else if (chosen[found->second]->root != "/" && entry.root == "/") {
            chosen[found->second] = &entry;
        }
    }
    // A replacement may sit later in the file; entries are contiguous, so address order
    // is mountinfo order.
    std::sort(chosen.begin(), chosen.end(),
              [](const MountEntry* a, const MountEntry* b) { return a < b; });
    return chosen;
}

std::string volumeName(const std::optional<std::string>& label, const std::string& mountPoint) {
    if (label) {
        return *label;
    }
    const auto last = std::filesystem::path(mountPoint).filename().string();
    return decodeUtf8Lossy(last.empty() ? mountPoint : last);
}

std::vector<ExternalDisk> listDisks(const VolumeListingSources& sources) {
    const auto entries = MountInfo::read(sources.mountInfoPath);
    const auto tree = sources.makeDeviceTree();
    const DiskIdentityResolver resolver(*tree);

    std::vector<std::pair<std::string, DiskGroup>> groups;
    std::unordered_map<std::string, std::size_t> groupIndex;
    for (const MountEntry* entry : distinctFileSystems(entries)) {
        // Only block devices are local; network, fuse and pseudo file systems are not.
        const auto blockDevice = MountDevice::blockDevice(*entry, *tree, sources.btrfsUUIDOf);
        if (!blockDevice) {
            continue;
        }
        const auto device = resolver.resolve(*blockDevice);
        if (device.resolved.isVirtual) {
            continue;
        }
        const auto& identity = device.resolved.identity;
        const auto uuid = device.fileSystemUUID();
        const auto id = uuid ? *uuid : entry->mountPoint;
        const auto type = device.fileSystemType().value_or(entry->fileSystemType);
        const auto groupKey = identity ? identity->groupingID : "volume:" + id;
        const auto capacity = sources.capacityOf(entry->mountPoint);
        DiskVolume volume{id,
                          uuid,
                          CapacityPoolIdentifier::make(
                              type, device.resolved.logicalWholeDiskIdentifier, groupKey),
                          volumeName(device.fileSystemLabel(), entry->mountPoint),
                          entry->mountPoint,
                          capacity.total,
                          capacity.available,
                          FormatDescriptions::describe(type),
                          entry->isReadOnly()};
        const bool vote = SystemVolumeProvider::ejectableExternalVote(
            true, std::nullopt, device.isRemovable, !device.isExternal);

        const auto [found, inserted] = groupIndex.emplace(groupKey, groups.size());
        if (inserted) {
            groups.emplace_back(groupKey, DiskGroup{identity, {std::move(volume)}, vote});
        } else {
            auto& group = groups[found->second].second;
            group.volumes.push_back(std::move(volume));
            group.isEjectableExternal = group.isEjectableExternal || vote;
        }
    }

    const NameCollator collator(sources.collationLocale.empty() ? NameCollator::userLocale()
                                                                : sources.collationLocale);
    const auto byName = [&collator](const auto& a, const auto& b) {
        return collator.less(a.name, b.name);
    };
    std::vector<ExternalDisk> disks;
    for (auto& [key, group] : groups) {
        if (!group.isEjectableExternal || !group.identity || !group.identity->attachmentID) {
            continue;
        }
        auto volumes = std::move(group.volumes);
        std::stable_sort(volumes.begin(), volumes.end(), byName);
        const auto& identity = *group.identity;
        std::string displayName;
        if (volumes.size() == 1) {
            displayName = volumes.front().name;
        } else if (identity.deviceName && !identity.deviceName->empty()) {
            displayName = *identity.deviceName;
        } else {
            for (const auto& volume : volumes) {
                displayName += (displayName.empty() ? "" : " + ") + volume.name;
            }
        }
        disks.push_back(ExternalDisk{"attachment:" + std::to_string(*identity.attachmentID),
                                     std::move(displayName), identity.deviceName,
                                     identity.mediaUUID, identity.attachmentID, identity.bsdName,
                                     std::move(volumes), identity.mediaSize});
    }
    std::stable_sort(disks.begin(), disks.end(), [&collator](const auto& a, const auto& b) {
        return collator.less(a.displayName, b.displayName);
    });
    return disks;
}

} // namespace

std::unique_ptr<DeviceTree> makeUdevDeviceTree() {
    return std::make_unique<UdevDeviceTree>();
}

VolumeCapacity fileSystemCapacity(const std::filesystem::path& mountPoint) {
    struct statvfs status {};
    if (::statvfs(mountPoint.c_str(), &status) != 0) {
        return {};
    }
    return {bytes(status.f_blocks, status.f_frsize), bytes(status.f_bavail, status.f_frsize)};
}

SystemVolumeProvider::SystemVolumeProvider(Executor& executor, VolumeListingSources sources)
    : executor_(executor)
    , sources_(std::make_shared<const VolumeListingSources>(std::move(sources))) {}

Task<std::vector<ExternalDisk>> SystemVolumeProvider::mountedExternalDisks() {
    // Named, so that GCC 12 keeps the work and its captures alive across the suspension.
    auto work = [sources = sources_] { return listDisks(*sources); };
    auto background = runInBackground(executor_, std::move(work));
    co_return co_await std::move(background);
}

std::vector<ExternalDisk> SystemVolumeProvider::listExternalDisks() const {
    return listDisks(*sources_);
}

bool SystemVolumeProvider::ejectableExternalVote(std::optional<bool> isLocal,
                                                 std::optional<bool> isEjectable,
                                                 std::optional<bool> isRemovable,
                                                 std::optional<bool> isInternal) {
    if (!isLocal.value_or(false)) {
        return false;
    }
    if (isEjectable.value_or(false) || isRemovable.value_or(false)) {
        return true;
    }
    return isInternal ? !*isInternal : false;
}

} // namespace tovo
