#include "TovoTerminal/DiskArgument.hpp"

#include "Tovo/Support/Typography.hpp"
#include "TovoSystem/Linux/SysfsBlockDevices.hpp"

#include <algorithm>
#include <system_error>

namespace tovo {

namespace {

namespace fs = std::filesystem;

// The path with links resolved when it exists, without a trailing separator.
fs::path comparable(const fs::path& path) {
    std::error_code error;
    auto resolved = fs::canonical(path, error);
    if (error) {
        resolved = path.lexically_normal();
    }
    auto text = resolved.string();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

template<class Predicate>
std::vector<const ExternalDisk*> matching(const std::vector<ExternalDisk>& disks,
                                          Predicate&& predicate) {
    std::vector<const ExternalDisk*> found;
    for (const auto& disk : disks) {
        if (predicate(disk)) {
            found.push_back(&disk);
        }
    }
    return found;
}

bool hasVolume(const ExternalDisk& disk, const std::function<bool(const DiskVolume&)>& test) {
    return std::any_of(disk.volumes.begin(), disk.volumes.end(), test);
}

} // namespace

std::vector<std::string> wholeDiskDeviceName(const ExternalDisk& disk) {
    if (!disk.wholeDiskIdentifier) {
        return {};
    }
    return {*disk.wholeDiskIdentifier};
}

std::vector<std::string> sysfsDeviceNames(const ExternalDisk& disk) {
    if (!disk.wholeDiskIdentifier) {
        return {};
    }
    std::vector<std::string> names;
    for (const auto& device : SysfsBlockDevices().family(*disk.wholeDiskIdentifier)) {
        names.push_back(device.name);
    }
    return names.empty() ? wholeDiskDeviceName(disk) : names;
}

std::variant<ExternalDisk, DiskArgumentError>
resolveDiskArgument(std::string_view argument, const std::vector<ExternalDisk>& disks,
                    const DiskDeviceNames& deviceNames) {
    const std::string wanted(argument);
    std::vector<const ExternalDisk*> found =
        matching(disks, [&](const ExternalDisk& disk) { return disk.id == wanted; });
    if (found.empty() && wanted.starts_with("/dev/")) {
        const auto name = comparable(wanted).filename().string();
        found = matching(disks, [&](const ExternalDisk& disk) {
            const auto names = deviceNames(disk);
            return std::find(names.begin(), names.end(), name) != names.end();
        });
    }
    if (found.empty() && wanted.starts_with("/")) {
        const auto path = comparable(wanted);
        found = matching(disks, [&](const ExternalDisk& disk) {
            return hasVolume(disk, [&](const DiskVolume& volume) {
                return comparable(volume.mountURL) == path;
            });
        });
    }
    if (found.empty()) {
        found = matching(disks, [&](const ExternalDisk& disk) {
            const auto names = deviceNames(disk);
            return disk.displayName == wanted ||
                   hasVolume(disk,
                             [&](const DiskVolume& volume) { return volume.name == wanted; }) ||
                   std::find(names.begin(), names.end(), wanted) != names.end();
        });
    }
    if (found.size() == 1) {
        return *found.front();
    }
    if (found.empty()) {
        return DiskArgumentError{DiskArgumentError::Kind::noMatch,
                                 "No external disk matches " + curlyQuoted(wanted) + ". Run " +
                                     curlyQuoted("tovo list") + " to see them."};
    }
    std::string ids;
    for (const auto* disk : found) {
        ids += (ids.empty() ? "" : ", ") + disk->id;
    }
    return DiskArgumentError{DiskArgumentError::Kind::ambiguous,
                             curlyQuoted(wanted) + " names more than one disk (" + ids +
                                 "). Name one by its id."};
}

} // namespace tovo
