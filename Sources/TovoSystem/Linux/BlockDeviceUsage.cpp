#include "TovoSystem/Linux/BlockDeviceUsage.hpp"

#include "TovoSystem/Linux/MountInfo.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <thread>
#include <unistd.h>

namespace tovo {

namespace {

constexpr auto busyRetryInterval = std::chrono::milliseconds(50);

// "mnt:[4026531841]"; none when the link cannot be read (another user's process).
std::optional<std::string> mountNamespace(const std::filesystem::path& processFolder) {
    std::error_code error;
    auto target = std::filesystem::read_symlink(processFolder / "ns" / "mnt", error);
    if (error) {
        return std::nullopt;
    }
    return target.string();
}

std::optional<std::string> commandName(const std::filesystem::path& processFolder) {
    std::ifstream file(processFolder / "comm");
    std::string line;
    if (!file || !std::getline(file, line) || line.empty()) {
        return std::nullopt;
    }
    return line;
}

std::vector<std::int32_t> processIDs(const std::filesystem::path& procRoot) {
    std::vector<std::int32_t> pids;
    std::error_code error;
    for (std::filesystem::directory_iterator it(procRoot, error), end; !error && it != end;
         it.increment(error)) {
        const auto name = it->path().filename().string();
        std::int32_t pid = 0;
        const auto [rest, failure] = std::from_chars(name.data(), name.data() + name.size(), pid);
        if (failure == std::errc() && rest == name.data() + name.size() && pid > 0) {
            pids.push_back(pid);
        }
    }
    std::sort(pids.begin(), pids.end());
    return pids;
}

const BlockDevice* mountedDevice(const std::vector<MountEntry>& mounts,
                                 const std::vector<BlockDevice>& devices, std::string& at) {
    for (const auto& entry : mounts) {
        for (const auto& device : devices) {
            if (major(device.number) == entry.major && minor(device.number) == entry.minor) {
                at = entry.mountPoint;
                return &device;
            }
        }
    }
    return nullptr;
}

} // namespace

std::optional<BlockDeviceUse>
BlockDeviceUsage::mount(const std::vector<BlockDevice>& devices) const {
    if (devices.empty()) {
        return std::nullopt;
    }
    std::string at;
    if (const auto* device =
            mountedDevice(MountInfo::read(procRoot_ / "self" / "mountinfo"), devices, at)) {
        return BlockDeviceUse{device->name, at, false, std::nullopt, std::nullopt};
    }
    // Not mounted here, so a process that still shows a mount lives in another namespace;
    // each namespace is read once when its link can be read.
    std::set<std::string> read;
    if (const auto own = mountNamespace(procRoot_ / "self")) {
        read.insert(*own);
    }
    for (const auto pid : processIDs(procRoot_)) {
        const auto folder = procRoot_ / std::to_string(pid);
        const auto space = mountNamespace(folder);
        if (space && !read.insert(*space).second) {
            continue;
        }
        if (const auto* device =
                mountedDevice(MountInfo::read(folder / "mountinfo"), devices, at)) {
            return BlockDeviceUse{device->name, at, true, pid, commandName(folder)};
        }
    }
    return std::nullopt;
}

std::optional<BlockDeviceUse> BlockDeviceUsage::use(const std::vector<BlockDevice>& devices) const {
    if (auto mounted = mount(devices)) {
        return mounted;
    }
    // Innermost first: a held partition also keeps its disk busy, and names the place better.
    for (auto it = devices.rbegin(); it != devices.rend(); ++it) {
        const auto& device = *it;
        // sysfs writes a "/" of a node's name ("cciss/c0d0") as "!".
        auto nodeName = device.name;
        std::replace(nodeName.begin(), nodeName.end(), '!', '/');
        const auto node = deviceRoot_ / nodeName;
        // A probe (udev's, blkid's) holds a device only for a moment.
        const auto deadline = std::chrono::steady_clock::now() + busyPatience_;
        auto exclusivity = tryExclusiveOpen(node, device.number);
        while (exclusivity == Exclusivity::busy && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(busyRetryInterval);
            exclusivity = tryExclusiveOpen(node, device.number);
        }
        if (exclusivity == Exclusivity::busy) {
            // It may have been mounted meanwhile; a mount names the place better.
            if (auto mounted = mount(devices)) {
                return mounted;
            }
            return BlockDeviceUse{device.name, std::nullopt, false, std::nullopt, std::nullopt};
        }
    }
    return std::nullopt;
}

BlockDeviceUsage::Exclusivity BlockDeviceUsage::tryExclusiveOpen(const std::filesystem::path& node,
                                                                 dev_t number) {
    struct stat status {};
    if (::stat(node.c_str(), &status) != 0 || !S_ISBLK(status.st_mode) ||
        status.st_rdev != number) {
        return Exclusivity::unknown;
    }
    int fd = -1;
    do {
        fd = ::open(node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC | O_NONBLOCK);
    } while (fd < 0 && errno == EINTR);
    if (fd >= 0) {
        // The node may have been replaced between stat and open.
        struct stat opened {};
        const bool same =
            ::fstat(fd, &opened) == 0 && S_ISBLK(opened.st_mode) && opened.st_rdev == number;
        ::close(fd);
        return same ? Exclusivity::free : Exclusivity::unknown;
    }
    return errno == EBUSY ? Exclusivity::busy : Exclusivity::unknown;
}

} // namespace tovo
