#include "TovoSystem/Services/FormatDescriptions.hpp"

#include "TovoCore/Models/Error.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace tovo::FormatDescriptions {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 22> names{{
    {"vfat", "FAT"},
    {"msdos", "FAT"},
    {"fat", "FAT"},
    {"exfat", "ExFAT"},
    {"ntfs", "NTFS"},
    {"ntfs3", "NTFS"},
    {"ext2", "ext2"},
    {"ext3", "ext3"},
    {"ext4", "ext4"},
    {"btrfs", "Btrfs"},
    {"xfs", "XFS"},
    {"apfs", "APFS"},
    {"hfsplus", "Mac OS Extended"},
    {"hfs", "Mac OS Standard"},
    {"iso9660", "ISO 9660"},
    {"udf", "UDF"},
    {"f2fs", "F2FS"},
    {"jfs", "JFS"},
    {"reiserfs", "ReiserFS"},
    {"nilfs2", "NILFS2"},
    {"zfs", "ZFS"},
    {"crypto_LUKS", "Encrypted (LUKS)"},
}};

} // namespace

std::optional<std::string> describe(const std::optional<std::string>& fileSystemType) {
    if (!fileSystemType) {
        return std::nullopt;
    }
    const auto type = trimmed(*fileSystemType);
    if (type.empty()) {
        return std::nullopt;
    }
    std::string lowered = type;
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const auto& [kernelName, shown] : names) {
        std::string key(kernelName);
        std::transform(key.begin(), key.end(), key.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (key == lowered) {
            return std::string(shown);
        }
    }
    return type;
}

} // namespace tovo::FormatDescriptions
