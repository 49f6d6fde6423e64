#include "TovoSystem/Linux/BusyCauseScanner.hpp"

#include "TovoSystem/Linux/BoundedFile.hpp"
#include "TovoSystem/Linux/KernelUseTables.hpp"
#include "TovoSystem/Linux/SysfsBlockDevices.hpp"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <linux/loop.h>
#include <map>
#include <set>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace tovo {

namespace {

// Deeper than any real mount tree; guards against a cycle in a torn read.
constexpr int maximumMountDepth = 256;

std::string firstLine(const std::filesystem::path& path) {
    auto text = BoundedFile::read(path, 64 * 1024).value_or("");
    if (const auto end = text.find('\n'); end != std::string::npos) {
        text.resize(end);
    }
    return text;
}

std::string trimmedSlashes(std::string text) {
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

// `path` is `folder` or lies below it.
bool isWithin(const std::string& path, const std::string& folder) {
    if (folder == "/") {
        return path.starts_with('/');
    }
    return path == folder || (path.starts_with(folder) && path[folder.size()] == '/');
}

dev_t numberOf(const MountEntry& entry) {
    return makedev(entry.major, entry.minor);
}

std::optional<std::string> namespaceOf(const std::filesystem::path& processFolder) {
    std::error_code error;
    auto target = std::filesystem::read_symlink(processFolder / "ns" / "mnt", error);
    if (error) {
        return std::nullopt;
    }
    return target.string();
}

std::vector<std::int32_t> processIDs(const std::filesystem::path& proc) {
    std::vector<std::int32_t> pids;
    std::error_code error;
    for (std::filesystem::directory_iterator it(proc, error), end; !error && it != end;
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

std::vector<std::string> folderNames(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A loop device's backing file's device: the kernel's own record when the device
// can be opened, else the file's, found by its name.
std::optional<dev_t> backingDevice(const std::filesystem::path& node, dev_t loopNumber,
                                   std::string backingPath) {
    const int fd = ::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd >= 0) {
        struct stat status {};
        loop_info64 info{};
        const bool same =
            ::fstat(fd, &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == loopNumber;
        const bool read = same && ::ioctl(fd, LOOP_GET_STATUS64, &info) == 0;
        ::close(fd);
        if (read) {
            return KernelUseTables::decodeKernelDevice(info.lo_device);
        }
    }
    constexpr std::string_view deleted = " (deleted)";
    if (backingPath.ends_with(deleted)) {
        backingPath.resize(backingPath.size() - deleted.size());
    }
    struct stat status {};
    if (::stat(backingPath.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return status.st_dev;
}

ScannedCause scannedCause(BusyCauseKind kind, std::string device, std::string subject) {
    return ScannedCause{BusyCause{kind,
                                  std::move(device),
                                  std::move(subject),
                                  std::nullopt,
                                  std::nullopt,
                                  std::nullopt,
                                  std::nullopt,
                                  {BusyCauseAction::none, ""}},
                        std::nullopt, false, false};
}

} // namespace

struct BusyCauseScanner::Context {
    const ExternalDisk& disk;
    SysfsBlockDevices sysfs;
    std::vector<BlockDevice> family;
    std::map<dev_t, std::string> names;
    /// The family's devices and those the disk's mounts show (btrfs shows its own).
    std::set<dev_t> numbers;
    std::vector<MountEntry> mounts;
    std::map<int, const MountEntry*> byID;
    std::set<int> diskMountIDs;
    std::set<std::string> volumePoints;
    std::vector<ScannedCause> found;

    std::string nameOf(dev_t number) const {
        if (const auto it = names.find(number); it != names.end()) {
            return it->second;
        }
        return disk.wholeDiskIdentifier.value_or("");
    }
    bool isDiskMount(const MountEntry& entry) const {
        return numbers.contains(numberOf(entry)) || volumePoints.contains(entry.mountPoint);
    }
    void add(BusyCauseKind kind, std::string device, std::string subject) {
        found.push_back(scannedCause(kind, std::move(device), std::move(subject)));
    }
};

std::vector<ScannedCause> BusyCauseScanner::scan(const ExternalDisk& disk) const {
    Context context{disk, SysfsBlockDevices(roots_.sys), {}, {}, {}, {}, {}, {}, {}, {}};
    if (disk.wholeDiskIdentifier) {
        context.family = context.sysfs.family(*disk.wholeDiskIdentifier);
    }
    for (const auto& device : context.family) {
        context.names.emplace(device.number, device.name);
        context.numbers.insert(device.number);
    }
    for (const auto& path : disk.mountURLs()) {
        context.volumePoints.insert(trimmedSlashes(path.lexically_normal().string()));
    }
    context.mounts = MountInfo::read(roots_.proc / "self" / "mountinfo");
    for (const auto& entry : context.mounts) {
        context.byID.emplace(entry.mountID, &entry);
        if (context.isDiskMount(entry)) {
            context.diskMountIDs.insert(entry.mountID);
            context.numbers.insert(numberOf(entry));
        }
    }
    if (context.numbers.empty()) {
        return {};
    }
    nestedAndBindMounts(context);
    swapAreas(context);
    loopDevices(context);
    holders(context);
    exports(context);
    otherNamespaces(context);
    return std::move(context.found);
}

void BusyCauseScanner::nestedAndBindMounts(Context& context) const {
    std::vector<ScannedCause> binds;
    for (const auto& entry : context.mounts) {
        if (context.diskMountIDs.contains(entry.mountID)) {
            // The disk shown a second time, where no volume of it is listed.
            if (!context.volumePoints.contains(entry.mountPoint)) {
                binds.push_back(scannedCause(BusyCauseKind::bindMount,
                                             context.nameOf(numberOf(entry)), entry.mountPoint));
            }
            continue;
        }
        auto parent = context.byID.find(entry.parentID);
        for (int depth = 0; parent != context.byID.end() && depth < maximumMountDepth; ++depth) {
            const auto& above = *parent->second;
            if (context.diskMountIDs.contains(above.mountID)) {
                auto nested = scannedCause(BusyCauseKind::nestedMount,
                                           context.nameOf(numberOf(above)), entry.mountPoint);
                nested.number = numberOf(entry);
                nested.isWholeBlockMount =
                    entry.root == "/" &&
                    std::filesystem::exists(
                        roots_.sys / "dev" / "block" /
                        (std::to_string(entry.major) + ":" + std::to_string(entry.minor)));
                context.found.push_back(std::move(nested));
                break;
            }
            if (above.parentID == above.mountID) {
                break;
            }
            parent = context.byID.find(above.parentID);
        }
    }
    std::ranges::move(binds, std::back_inserter(context.found));
}

void BusyCauseScanner::swapAreas(Context& context) const {
    const auto text = BoundedFile::read(roots_.proc / "swaps").value_or("");
    for (const auto& area : KernelUseTables::parseSwaps(text)) {
        struct stat status {};
        if (::stat(area.path.c_str(), &status) != 0) {
            continue;
        }
        const auto number = area.isPartition ? status.st_rdev : status.st_dev;
        if ((area.isPartition && !S_ISBLK(status.st_mode)) || !context.numbers.contains(number)) {
            continue;
        }
        context.add(BusyCauseKind::swap, context.nameOf(number), area.path);
    }
}

void BusyCauseScanner::loopDevices(Context& context) const {
    for (const auto& name : folderNames(roots_.sys / "block")) {
        if (!name.starts_with("loop") ||
            std::ranges::any_of(context.family,
                                [&](const BlockDevice& device) { return device.name == name; })) {
            continue;
        }
        const auto backing = firstLine(roots_.sys / "block" / name / "loop" / "backing_file");
        const auto number = context.sysfs.deviceNumber(name);
        if (backing.empty() || !number) {
            continue;
        }
        const auto device = backingDevice(roots_.dev / name, *number, backing);
        if (!device || !context.numbers.contains(*device)) {
            continue;
        }
        context.add(BusyCauseKind::loopDevice, context.nameOf(*device), "/dev/" + name);
        context.found.back().cause.backingFile = backing;
        context.found.back().number = number;
    }
}

void BusyCauseScanner::holders(Context& context) const {
    const auto block = [&](const std::string& name) {
        return roots_.sys / "class" / "block" / name;
    };
    std::set<std::string> seen;
    for (const auto& member : context.family) {
        for (const auto& holder : folderNames(block(member.name) / "holders")) {
            const auto number = context.sysfs.deviceNumber(holder);
            if (!number || !seen.insert(holder).second) {
                continue;
            }
            // A mounted holder is one of the disk's volumes: the unmounter takes it.
            if (std::ranges::any_of(context.mounts, [&](const MountEntry& entry) {
                    return numberOf(entry) == *number;
                })) {
                continue;
            }
            const auto uuid = firstLine(block(holder) / "dm" / "uuid");
            const auto dmName = firstLine(block(holder) / "dm" / "name");
            HolderKind kind = HolderKind::deviceMapper;
            if (holder.starts_with("md")) {
                kind = HolderKind::raid;
            } else if (uuid.starts_with("CRYPT-")) {
                kind = HolderKind::encrypted;
            } else if (uuid.starts_with("LVM-")) {
                kind = HolderKind::logicalVolume;
            }
            context.add(BusyCauseKind::holderDevice, member.name,
                        dmName.empty() ? "/dev/" + holder : "/dev/mapper/" + dmName);
            auto& scanned = context.found.back();
            scanned.cause.holderKind = kind;
            scanned.number = number;
            scanned.hasHolders = !folderNames(block(holder) / "holders").empty();
        }
    }
}

std::vector<std::filesystem::path> BusyCauseScanner::exportTables() const {
    if (!roots_.exportTables.empty()) {
        return roots_.exportTables;
    }
    std::vector<std::filesystem::path> tables{roots_.proc / "fs" / "nfsd" / "exports"};
    // exportfs's table says nothing while the server is not loaded.
    std::error_code error;
    if (std::filesystem::exists(roots_.sys / "module" / "nfsd", error)) {
        tables.emplace_back("/var/lib/nfs/etab");
    }
    return tables;
}

void BusyCauseScanner::exports(Context& context) const {
    for (const auto& table : exportTables()) {
        const auto text = BoundedFile::read(table);
        if (!text) {
            continue;
        }
        for (const auto& path : KernelUseTables::parseExports(*text)) {
            const auto holder = std::ranges::find_if(context.mounts, [&](const MountEntry& entry) {
                return context.diskMountIDs.contains(entry.mountID) &&
                       isWithin(trimmedSlashes(path), entry.mountPoint);
            });
            if (holder != context.mounts.end()) {
                context.add(BusyCauseKind::networkExport, context.nameOf(numberOf(*holder)),
                            trimmedSlashes(path));
            }
        }
        return;
    }
}

void BusyCauseScanner::otherNamespaces(Context& context) const {
    // Our unmount reaches the peers and slaves of our mounts; theirs are no cause.
    const auto ownText = BoundedFile::read(roots_.proc / "self" / "mountinfo").value_or("");
    std::set<int> ownGroups;
    for (const auto& [id, propagation] : KernelUseTables::parsePropagation(ownText)) {
        if (context.diskMountIDs.contains(id) && propagation.shared) {
            ownGroups.insert(*propagation.shared);
        }
    }
    std::set<std::string> seen;
    if (const auto own = namespaceOf(roots_.proc / "self")) {
        seen.insert(*own);
    }
    for (const auto pid : processIDs(roots_.proc)) {
        const auto folder = roots_.proc / std::to_string(pid);
        const auto space = namespaceOf(folder);
        if (!space || !seen.insert(*space).second) {
            continue;
        }
        const auto text = BoundedFile::read(folder / "mountinfo");
        if (!text) {
            continue;
        }
        const auto propagation = KernelUseTables::parsePropagation(*text);
        for (const auto& entry : MountInfo::parse(*text)) {
            if (!context.numbers.contains(numberOf(entry))) {
                continue;
            }
            const auto tags = propagation.find(entry.mountID);
            const bool receivesOurs =
                tags != propagation.end() &&
                ((tags->second.master && ownGroups.contains(*tags->second.master)) ||
                 (tags->second.shared && ownGroups.contains(*tags->second.shared)));
            if (receivesOurs) {
                continue;
            }
            context.add(BusyCauseKind::otherNamespace, context.nameOf(numberOf(entry)),
                        entry.mountPoint);
            context.found.back().cause.processID = pid;
            if (auto command = firstLine(folder / "comm"); !command.empty()) {
                context.found.back().cause.processName = std::move(command);
            }
            break;
        }
    }
}

bool BusyCauseScanner::seesAllProcesses(uid_t effectiveUserID) const {
    return effectiveUserID == 0 &&
           !KernelUseTables::hidesProcesses(MountInfo::read(roots_.proc / "self" / "mountinfo"));
}

std::optional<dev_t> BusyCauseScanner::mountedDevice(const std::string& mountPoint) const {
    // The last mount at a place is the one that shows there.
    std::optional<dev_t> number;
    for (const auto& entry : MountInfo::read(roots_.proc / "self" / "mountinfo")) {
        if (entry.mountPoint == mountPoint) {
            number = numberOf(entry);
        }
    }
    return number;
}

} // namespace tovo
