#pragma once

#include "TovoCore/Models/ExternalDisk.hpp"

#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tovo {

/// The kernel names of a disk's block devices: the whole disk, its partitions and
/// what is built on them ("sdb", "sdb1", "dm-0").
using DiskDeviceNames = std::function<std::vector<std::string>(const ExternalDisk& disk)>;

/// The whole disk's name alone, for services that know no more.
std::vector<std::string> wholeDiskDeviceName(const ExternalDisk& disk);
/// Every block device of the disk, read from sysfs.
std::vector<std::string> sysfsDeviceNames(const ExternalDisk& disk);

/// Why a command line's DISK names no single disk.
struct DiskArgumentError {
    enum class Kind { noMatch, ambiguous };
    Kind kind;
    std::string message;
};

/// The disk that `argument` names, tried in this order: a disk id; a device path
/// (/dev/sdb, /dev/sdb1, or a link to one such as /dev/disk/by-label/NAME); a mount
/// point; a disk's or volume's name, or a device's kernel name ("sdb1"). A form that
/// names more than one disk is an error.
std::variant<ExternalDisk, DiskArgumentError>
resolveDiskArgument(std::string_view argument, const std::vector<ExternalDisk>& disks,
                    const DiskDeviceNames& deviceNames);

} // namespace tovo
