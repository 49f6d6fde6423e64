#pragma once

#include "TovoSystem/Linux/MountInfo.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace tovo {

/// The kernel tables that say a disk is in use without any process holding it,
/// parsed. Paths are decoded as the kernel escapes them ("\040" for a space).
namespace KernelUseTables {

/// One active swap area of /proc/swaps.
struct SwapArea {
    std::string path;
    bool isPartition; ///< "partition", else a swap file
    bool operator==(const SwapArea&) const = default;
};
std::vector<SwapArea> parseSwaps(std::string_view text);

/// The exported folders of the kernel's NFS export table (/proc/fs/nfsd/exports, or
/// exportfs's /var/lib/nfs/etab): each path once, in order.
std::vector<std::string> parseExports(std::string_view text);

/// How a mount takes part in mount propagation (its optional mountinfo fields).
struct Propagation {
    std::optional<int> shared; ///< "shared:N": a peer of group N
    std::optional<int> master; ///< "master:N": receives the events of group N
    bool operator==(const Propagation&) const = default;
};
/// By mount id, for every well-formed line.
std::map<int, Propagation> parsePropagation(std::string_view mountinfo);

/// Whether the /proc of this mount table hides other users' processes (hidepid).
bool hidesProcesses(const std::vector<MountEntry>& mounts);

/// A device number as the kernel hands it to user space in loop_info64.lo_device.
dev_t decodeKernelDevice(std::uint64_t encoded);

} // namespace KernelUseTables

} // namespace tovo
