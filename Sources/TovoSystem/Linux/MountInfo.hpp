#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tovo {

/// One line of /proc/<pid>/mountinfo, its path fields decoded.
struct MountEntry {
    int mountID;
    int parentID;
    unsigned major;
    unsigned minor;
    std::string root; ///< the folder of the file system shown here ("/" unless a bind)
    std::string mountPoint;
    std::string mountOptions;
    std::string fileSystemType;
    std::string source;
    std::string superOptions;

    /// "ro" among the mount's own or the file system's options.
    bool isReadOnly() const;
    bool operator==(const MountEntry&) const = default;
};

namespace MountInfo {

/// Undoes the kernel's octal escapes ("\040" space, "\011" tab, "\012" newline,
/// "\134" backslash, any "\ooo"); a backslash not starting one is kept as it is.
std::string decode(std::string_view field);

/// Every well-formed line, in order; malformed lines are skipped.
std::vector<MountEntry> parse(std::string_view text);

/// The file read whole; empty when it cannot be read.
std::vector<MountEntry> read(const std::filesystem::path& path);

} // namespace MountInfo

} // namespace tovo
