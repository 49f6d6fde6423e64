#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tovo {

/// A block device by its kernel name and device number.
struct BlockDevice {
    std::string name; ///< "sdb1"
    dev_t number;

    bool operator==(const BlockDevice&) const = default;
};

/// Reads a whole disk's block devices from sysfs under `root` (/sys in production,
/// a fixture folder in tests). Everything is read fresh on every call.
class SysfsBlockDevices {
public:
    explicit SysfsBlockDevices(std::filesystem::path root = "/sys")
        : root_(std::move(root)) {}

    /// The "major:minor" of class/block/<name>/dev.
    std::optional<dev_t> deviceNumber(const std::string& name) const;
    /// class/block/<name>/diskseq; kernels before 5.15 have none.
    std::optional<std::uint64_t> diskSequence(const std::string& name) const;
    /// The disk first, then its partitions and every device built on them (their
    /// holders, transitively), each once; empty when the disk is gone.
    std::vector<BlockDevice> family(const std::string& wholeDisk) const;
    /// The names of the devices built directly on `name`, sorted.
    std::vector<std::string> holders(const std::string& name) const;

private:
    std::filesystem::path device(const std::string& name) const;

    std::filesystem::path root_;
};

} // namespace tovo
