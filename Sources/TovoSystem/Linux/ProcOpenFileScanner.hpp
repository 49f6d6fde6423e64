#pragma once

#include "TovoSystem/Linux/ProcFileSystem.hpp"
#include "TovoSystem/Services/OpenFileScanning.hpp"

#include <string_view>

namespace tovo {

/// Finds the holders of a mount in /proc without ever stat()ing what they hold (a
/// dead network mount can hang stat): open files, working folder, root and executable
/// are matched by mount id, memory maps by device number.
class ProcOpenFileScanner final : public OpenFileScanning {
public:
    std::vector<MountEntry> mounts() const override;
    std::optional<std::string> commandName(std::int32_t pid) const override;
    std::vector<BlockingProcess> holders(const std::vector<MountEntry>& mounts) const override;

    /// The facts of /proc/<pid>/fdinfo/<fd> that matter here.
    struct DescriptorInfo {
        int mountID;
        int flags; ///< the open flags, octal in the file
        bool operator==(const DescriptorInfo&) const = default;
    };
    /// One file-backed line of /proc/<pid>/maps.
    struct Mapping {
        unsigned major;
        unsigned minor;
        std::string path; ///< the kernel's "\012" for a line feed undone
        bool operator==(const Mapping&) const = default;
    };

    static std::optional<DescriptorInfo> parseDescriptorInfo(std::string_view text);
    /// The lines that name a file (inode not 0), in order.
    static std::vector<Mapping> parseMaps(std::string_view text);
    /// lsof's access for open flags: O_RDONLY read, O_WRONLY write, O_RDWR read and write.
    static OpenAccess accessOf(int flags);

private:
    struct Targets;
    std::optional<BlockingProcess> holder(std::int32_t pid, const Targets& targets) const;
    std::vector<OpenFileReference> openFiles(std::int32_t pid, const Targets& targets) const;

    ProcFileSystem proc_;
};

} // namespace tovo
