#include "TovoSystem/Linux/MountDevice.hpp"

#include <cstdint>
#include <fcntl.h>
#include <linux/btrfs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace tovo::MountDevice {

namespace {

class FileDescriptor {
public:
    explicit FileDescriptor(int fd)
        : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// The folder must be on this very mount: a mount stacked on the path since, or a
// FUSE server answering btrfs requests, would otherwise speak for it.
bool isRootOfBtrfsMount(int fd, const MountEntry& mount) {
    struct statx status {};
    if (::statx(fd, "", AT_EMPTY_PATH, STATX_MNT_ID, &status) != 0 ||
        (status.stx_mask & STATX_MNT_ID) == 0 || mount.mountID < 0 ||
        status.stx_mnt_id != static_cast<std::uint64_t>(mount.mountID)) {
        return false;
    }
    struct statfs fileSystem {};
    return ::fstatfs(fd, &fileSystem) == 0 &&
           static_cast<std::uint64_t>(fileSystem.f_type) == BTRFS_SUPER_MAGIC;
}

// The usual lower-case 8-4-4-4-12 text.
std::string formatUUID(const std::uint8_t (&bytes)[BTRFS_FSID_SIZE]) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < BTRFS_FSID_SIZE; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(digits[bytes[i] >> 4]);
        text.push_back(digits[bytes[i] & 0x0F]);
    }
    return text;
}

} // namespace

std::optional<DeviceNode> blockDevice(const MountEntry& mount, const DeviceTree& tree,
                                      const BtrfsUUIDReader& readBtrfsUUID) {
    if (mount.major != 0) {
        return tree.blockDevice(mount.major, mount.minor);
    }
    // The kernel writes the type: a FUSE mount says "fuse" or "fuse.<name>", never this.
    if (mount.fileSystemType != "btrfs") {
        return std::nullopt;
    }
    auto candidate = tree.blockDeviceOfSource(mount.source);
    if (!candidate || candidate->property("ID_FS_TYPE") != "btrfs") {
        return std::nullopt;
    }
    const auto claimed = candidate->property("ID_FS_UUID");
    if (!claimed || claimed->empty() || readBtrfsUUID(mount) != claimed) {
        return std::nullopt;
    }
    return candidate;
}

std::optional<DeviceNode> blockDevice(const MountEntry& mount, const DeviceTree& tree) {
    return blockDevice(mount, tree, btrfsUUID);
}

std::optional<std::string> btrfsUUID(const MountEntry& mount) {
    const FileDescriptor folder(
        ::open(mount.mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (folder.get() < 0 || !isRootOfBtrfsMount(folder.get(), mount)) {
        return std::nullopt;
    }
    btrfs_ioctl_fs_info_args info{};
    if (::ioctl(folder.get(), BTRFS_IOC_FS_INFO, &info) != 0) {
        return std::nullopt;
    }
    return formatUUID(info.fsid);
}

} // namespace tovo::MountDevice
