#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tovo {

/// The write counters of one block device.
struct BlockWriteCounters {
    std::uint64_t sectorsWritten; ///< 512-byte sectors since the device appeared
    std::uint64_t writesInFlight;

    bool operator==(const BlockWriteCounters&) const = default;
};

/// Reads the kernel's accounts of data on its way to disks.
namespace WriteOutStatistics {

/// From a block device's "stat" and, when there is one, its "inflight" ("reads writes").
/// Without "inflight" the stat's own in-flight count, reads included, stands in.
std::optional<BlockWriteCounters> blockCounters(std::string_view stat,
                                                std::optional<std::string_view> inflight);

/// Dirty plus Writeback of /proc/meminfo, in bytes: everything the system still has
/// to write, for every disk together.
std::optional<std::uint64_t> systemBytesLeft(std::string_view meminfo);

/// BdiReclaimable plus BdiWriteback of a debugfs "bdi/<major>:<minor>/stats" file, in
/// bytes: what is still to be written to that one device.
std::optional<std::uint64_t> deviceBytesLeft(std::string_view bdiStats);

/// Bytes per second from two readings of a sector counter; none when no time passed or
/// the counter went back (another device under the same name).
std::optional<std::uint64_t> rate(std::uint64_t sectorsBefore, std::uint64_t sectorsNow,
                                  std::chrono::nanoseconds elapsed);

} // namespace WriteOutStatistics

} // namespace tovo
