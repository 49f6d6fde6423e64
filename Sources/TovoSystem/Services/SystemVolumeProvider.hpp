#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Linux/MountDevice.hpp"
#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

#include <filesystem>
#include <functional>
#include <memory>

namespace tovo {

struct VolumeCapacity {
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> available;
};

std::unique_ptr<DeviceTree> makeUdevDeviceTree();
/// Total and available bytes from statvfs; absent when it fails.
VolumeCapacity fileSystemCapacity(const std::filesystem::path& mountPoint);

/// Where a listing reads the system; tests substitute a fixture for each.
struct VolumeListingSources {
    std::filesystem::path mountInfoPath = "/proc/self/mountinfo";
    std::function<std::unique_ptr<DeviceTree>()> makeDeviceTree = makeUdevDeviceTree;
    std::function<VolumeCapacity(const std::filesystem::path&)> capacityOf = fileSystemCapacity;
    std::string collationLocale; ///< empty: the user's locale
    BtrfsUUIDReader btrfsUUIDOf = MountDevice::btrfsUUID;
};

/// Lists the mounted volumes on detachable hardware, grouped by whole disk, sorted
/// for display. Disk images, virtual devices, internal disks, network and fuse file
/// systems are left out. The work runs on a worker thread and resumes on `executor`.
class SystemVolumeProvider final : public VolumeProviding {
public:
    explicit SystemVolumeProvider(Executor& executor, VolumeListingSources sources = {});

    Task<std::vector<ExternalDisk>> mountedExternalDisks() override;

    /// The same listing, blocking the calling thread.
    std::vector<ExternalDisk> listExternalDisks() const;

    /// Whether one volume says its disk is an ejectable external one.
    static bool ejectableExternalVote(std::optional<bool> isLocal, std::optional<bool> isEjectable,
                                      std::optional<bool> isRemovable,
                                      std::optional<bool> isInternal);

private:
    Executor& executor_;
    std::shared_ptr<const VolumeListingSources> sources_;
};

} // namespace tovo
