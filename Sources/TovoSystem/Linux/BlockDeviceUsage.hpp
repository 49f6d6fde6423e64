#pragma once

#include "TovoSystem/Linux/SysfsBlockDevices.hpp"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// One place where a block device is still in use.
struct BlockDeviceUse {
    std::string device;                    ///< kernel name, "sdb1"
    std::optional<std::string> mountPoint; ///< as the namespace that mounts it sees it
    bool inOtherNamespace = false;         ///< mounted only in another mount namespace
    std::optional<std::int32_t> processID; ///< a process of that namespace
    std::optional<std::string> processName;

    bool operator==(const BlockDeviceUse&) const = default;
};

/// Finds whether any block device of a disk is still mounted anywhere Tovo can see
/// (every readable /proc/<pid>/mountinfo), or held so that an exclusive open fails.
class BlockDeviceUsage {
public:
    explicit BlockDeviceUsage(std::filesystem::path procRoot = "/proc",
                              std::filesystem::path deviceRoot = "/dev",
                              std::chrono::milliseconds busyPatience = std::chrono::seconds(1))
        : procRoot_(std::move(procRoot))
        , deviceRoot_(std::move(deviceRoot))
        , busyPatience_(busyPatience) {}

    /// A mount of one of `devices` in our own mount namespace first, else in another.
    std::optional<BlockDeviceUse> mount(const std::vector<BlockDevice>& devices) const;
    /// A mount as above, else a device whose node refuses an exclusive open for longer
    /// than a passing probe would hold it; `devices` are listed outermost first.
    std::optional<BlockDeviceUse> use(const std::vector<BlockDevice>& devices) const;

    enum class Exclusivity { free, busy, unknown };
    /// One exclusive open of `node`, only when it is the node of `number`; unknown when
    /// it is not, or when the open is not permitted.
    static Exclusivity tryExclusiveOpen(const std::filesystem::path& node, dev_t number);

private:
    std::filesystem::path procRoot_;
    std::filesystem::path deviceRoot_;
    std::chrono::milliseconds busyPatience_;
};

} // namespace tovo
