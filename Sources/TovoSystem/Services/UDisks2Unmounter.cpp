#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoCore/Async/CancellationError.hpp"
#include "TovoSystem/Linux/BlockDeviceUsage.hpp"
#include "TovoSystem/Linux/SysfsBlockDevices.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "TovoSystem/Services/UDisks2Refusal.hpp"
#include "TovoSystem/Services/WriteOutJournal.hpp"

#include <libudev.h>
#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <map>
#include <set>

namespace tovo {

namespace {

const std::string service = "org.freedesktop.UDisks2";
const std::string rootPath = "/org/freedesktop/UDisks2";
const std::string objectManager = "org.freedesktop.DBus.ObjectManager";
const std::string blockInterface = "org.freedesktop.UDisks2.Block";
const std::string partitionInterface = "org.freedesktop.UDisks2.Partition";
const std::string filesystemInterface = "org.freedesktop.UDisks2.Filesystem";
const std::string encryptedInterface = "org.freedesktop.UDisks2.Encrypted";
const std::string driveInterface = "org.freedesktop.UDisks2.Drive";
// udisks2's lvm2 module: a block that is a logical volume, and the volume itself.
const std::string lvmBlockInterface = "org.freedesktop.UDisks2.Block.LVM2";
const std::string logicalVolumeInterface = "org.freedesktop.UDisks2.LogicalVolume";
// A container or logical volume of the disk is still open after Tovo closed them.
const std::string stillOpenName = "org.tovo.Tovo.Error.StillOpen";
const std::string notFoundName = "org.tovo.Tovo.Error.DiskNotFound";
// Each Unmount removes one mount point; a round that removes none ends the loop first.
constexpr int maximumRounds = 256;

using Properties = std::map<std::string, sdbus::Variant>;
using Interfaces = std::map<std::string, Properties>;
using ManagedObjects = std::map<sdbus::ObjectPath, Interfaces>;
using Options = std::map<std::string, sdbus::Variant>;

template<class T>
std::optional<T> property(const Interfaces& interfaces, const std::string& interface,
                          const std::string& name) {
    const auto found = interfaces.find(interface);
    if (found == interfaces.end()) {
        return std::nullopt;
    }
    const auto value = found->second.find(name);
    if (value == found->second.end()) {
        return std::nullopt;
    }
    try {
        return value->second.get<T>();
    } catch (const sdbus::Error&) {
        return std::nullopt;
    }
}

// udisks2 sends paths as NUL-terminated byte arrays.
std::string bytesText(const std::vector<std::uint8_t>& bytes) {
    std::string text(bytes.begin(), bytes.end());
    if (const auto end = text.find('\0'); end != std::string::npos) {
        text.resize(end);
    }
    return text;
}

struct BlockObject {
    sdbus::ObjectPath path;
    std::string device;
    std::optional<dev_t> deviceNumber;
    sdbus::ObjectPath drive;
    std::optional<sdbus::ObjectPath> partitionTable;
    std::optional<sdbus::ObjectPath> cryptoBackingDevice;
    bool isEncrypted = false;
    std::vector<std::string> mountPoints;
    std::optional<sdbus::ObjectPath> logicalVolume;
};

std::vector<BlockObject> blocks(const ManagedObjects& objects) {
    std::vector<BlockObject> result;
    for (const auto& [path, interfaces] : objects) {
        if (!interfaces.contains(blockInterface)) {
            continue;
        }
        BlockObject block{path, {}, {}, {}, {}, {}, interfaces.contains(encryptedInterface),
                          {},   {}};
        if (auto device =
                property<std::vector<std::uint8_t>>(interfaces, blockInterface, "Device")) {
            block.device = bytesText(*device);
        }
        if (auto number = property<std::uint64_t>(interfaces, blockInterface, "DeviceNumber")) {
            block.deviceNumber = static_cast<dev_t>(*number);
        }
        block.drive = property<sdbus::ObjectPath>(interfaces, blockInterface, "Drive")
                          .value_or(sdbus::ObjectPath("/"));
        block.partitionTable = property<sdbus::ObjectPath>(interfaces, partitionInterface, "Table");
        if (auto backing =
                property<sdbus::ObjectPath>(interfaces, blockInterface, "CryptoBackingDevice");
            backing && *backing != "/") {
            block.cryptoBackingDevice = backing;
        }
        if (auto volume =
                property<sdbus::ObjectPath>(interfaces, lvmBlockInterface, "LogicalVolume");
            volume && *volume != "/") {
            block.logicalVolume = volume;
        }
        if (auto points = property<std::vector<std::vector<std::uint8_t>>>(
                interfaces, filesystemInterface, "MountPoints")) {
            for (const auto& point : *points) {
                block.mountPoints.push_back(bytesText(point));
            }
        }
        result.push_back(std::move(block));
    }
    return result;
}

const BlockObject* byDeviceNumber(const std::vector<BlockObject>& all, dev_t number) {
    const auto found = std::find_if(all.begin(), all.end(), [number](const BlockObject& block) {
        return block.deviceNumber == number;
    });
    return found == all.end() ? nullptr : &*found;
}

bool contains(const std::vector<BlockDevice>& devices, const std::optional<dev_t>& number) {
    return number && std::any_of(devices.begin(), devices.end(), [&](const BlockDevice& device) {
               return device.number == *number;
           });
}

std::string kernelName(const BlockObject& block) {
    return std::filesystem::path(block.device).filename().string();
}

// How many layers lie between the whole disk and each member: the longest chain of
// partition tables, encrypted containers and kernel holders that leads to it.
class LayerDepths {
public:
    LayerDepths(const std::vector<const BlockObject*>& members, const SysfsBlockDevices& sysfs)
        : members_(members) {
        for (const auto* member : members) {
            for (const auto& holder : sysfs.holders(kernelName(*member))) {
                heldBy_[holder].push_back(member);
            }
        }
    }

    std::size_t of(const BlockObject* block) {
        if (const auto known = depths_.find(block); known != depths_.end()) {
            return known->second;
        }
        depths_[block] = 0; // a cycle in broken metadata counts as no layer
        std::size_t depth = 0;
        for (const auto* parent : parents(*block)) {
            depth = std::max(depth, of(parent) + 1);
        }
        depths_[block] = depth;
        return depth;
    }

private:
    std::vector<const BlockObject*> parents(const BlockObject& block) const {
        std::vector<const BlockObject*> found;
        for (const auto* member : members_) {
            if (member->path == block.partitionTable || member->path == block.cryptoBackingDevice) {
                found.push_back(member);
            }
        }
        if (const auto held = heldBy_.find(kernelName(block)); held != heldBy_.end()) {
            found.insert(found.end(), held->second.begin(), held->second.end());
        }
        return found;
    }

    const std::vector<const BlockObject*>& members_;
    std::map<std::string, std::vector<const BlockObject*>> heldBy_;
    std::map<const BlockObject*, std::size_t> depths_;
};

// The whole disk, its partitions, what is unlocked on them and any other device the
// kernel builds on them, deepest first: whatever sits on a device is closed before it.
std::vector<const BlockObject*> membersDeepestFirst(const std::vector<BlockObject>& all,
                                                    const BlockObject& whole,
                                                    const SysfsBlockDevices& sysfs,
                                                    const std::string& wholeDisk) {
    const auto family = sysfs.family(wholeDisk);
    std::vector<const BlockObject*> members{&whole};
    std::set<std::string> paths{whole.path};
    for (bool grew = true; grew;) {
        grew = false;
        for (const auto& block : all) {
            const bool below =
                (block.partitionTable && paths.contains(*block.partitionTable)) ||
                (block.cryptoBackingDevice && paths.contains(*block.cryptoBackingDevice)) ||
                contains(family, block.deviceNumber);
            if (below && paths.insert(block.path).second) {
                members.push_back(&block);
                grew = true;
            }
        }
    }
    // Among equals, the latest found first, as before layers were counted.
    std::reverse(members.begin(), members.end());
    LayerDepths depths(members, sysfs);
    std::stable_sort(
        members.begin(), members.end(),
        [&](const BlockObject* a, const BlockObject* b) { return depths.of(a) > depths.of(b); });
    return members;
}

std::size_t mountCount(const std::vector<const BlockObject*>& members) {
    std::size_t count = 0;
    for (const auto* member : members) {
        count += member->mountPoints.size();
    }
    return count;
}

// What sysfs lists now, and what udisks2 last showed of the disk, each device once.
std::vector<BlockDevice> devicesOf(std::vector<BlockDevice> family,
                                   const std::vector<const BlockObject*>& members) {
    for (const auto* member : members) {
        if (member->deviceNumber && !contains(family, member->deviceNumber)) {
            family.push_back(
                {std::filesystem::path(member->device).filename().string(), *member->deviceNumber});
        }
    }
    return family;
}

UnmountError identityChanged() {
    return UnmountError(UnmountError::identityChangedName,
                        SystemDiskIdentityValidator::changedMessage);
}

std::string quoted(const std::string& text) {
    return "“" + text + "”";
}

UnmountError stillInUse(const BlockDeviceUse& use) {
    const std::string risk = ", so data may still be waiting to be written: ";
    if (use.inOtherNamespace) {
        auto holder = use.processName ? quoted(*use.processName) : std::string("a process");
        if (use.processID) {
            holder += " (process " + std::to_string(*use.processID) + ")";
        }
        return UnmountError(UnmountError::stillInUseName,
                            "A file system of this disk is still mounted in another mount "
                            "namespace by " +
                                holder + risk +
                                "quit that program or its container before you unplug the disk.");
    }
    if (use.mountPoint) {
        return UnmountError(UnmountError::stillInUseName,
                            "A file system of this disk is still mounted at " +
                                quoted(*use.mountPoint) + risk +
                                "close what uses it, then try again.");
    }
    return UnmountError(UnmountError::stillInUseName,
                        "/dev/" + use.device +
                            " of this disk is still in use by the system (mounted where Tovo "
                            "cannot look, a swap area or a volume group)" +
                            risk + "stop using it, then try again.");
}

// udev's USEC_INITIALIZED of a block device, which stands in for diskseq where the
// kernel has none.
std::optional<std::uint64_t> udevInitializedMicroseconds(dev_t number) {
    std::optional<std::uint64_t> result;
    udev* context = udev_new();
    udev_device* device = context ? udev_device_new_from_devnum(context, 'b', number) : nullptr;
    if (const char* text =
            device ? udev_device_get_property_value(device, "USEC_INITIALIZED") : nullptr) {
        std::uint64_t value = 0;
        const auto* end = text + std::strlen(text);
        if (const auto [rest, error] = std::from_chars(text, end, value);
            error == std::errc() && rest == end && rest != text) {
            result = value;
        }
    }
    udev_device_unref(device);
    udev_unref(context);
    return result;
}

std::string errnoName(int error) {
    const char* name = strerrorname_np(error);
    return std::string("System.Error.") + (name != nullptr ? name : "Unknown");
}

// Two connections to the bus: sdbus-c++ reads the object tree; the work itself goes
// through sd-bus directly, which alone can let udisks2 ask for a password and wait
// without a time limit.
class Session {
public:
    Session(const std::optional<std::string>& address, std::chrono::milliseconds timeout)
        : timeout_(timeout)
        , bus_(open(address)) {
        try {
            connection_ = address ? sdbus::createSessionBusConnectionWithAddress(*address)
                                  : sdbus::createSystemBusConnection();
        } catch (const sdbus::Error& error) {
            sd_bus_flush_close_unref(bus_);
            throw UDisks2Refusal::unreachable(error.getName(), error.getMessage());
        }
    }
    ~Session() { sd_bus_flush_close_unref(bus_); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    ManagedObjects managedObjects() {
        ManagedObjects objects;
        try {
            auto proxy = sdbus::createProxy(*connection_, service, rootPath);
            proxy->callMethod("GetManagedObjects")
                .onInterface(objectManager)
                .withTimeout(timeout_)
                .storeResultsTo(objects);
        } catch (const sdbus::Error& error) {
            throw UDisks2Refusal::fromBus(error.getName(), error.getMessage(),
                                          UDisks2Refusal::Wait::limited);
        }
        return objects;
    }

    // Work that takes as long as it takes: an unmount writes out everything cached for
    // the file system first. Only a daemon or bus that goes away ends the wait early.
    void act(const std::string& path, const std::string& interface, const std::string& method) {
        sd_bus_message* call = nullptr;
        sd_bus_message* reply = nullptr;
        sd_bus_error error = SD_BUS_ERROR_NULL;
        int result = sd_bus_message_new_method_call(bus_, &call, service.c_str(), path.c_str(),
                                                    interface.c_str(), method.c_str());
        if (result >= 0) {
            // Where policy wants a password, polkit may ask for it.
            result = sd_bus_message_append(call, "a{sv}", 1, "auth.no_user_interaction", "b", 0);
        }
        if (result >= 0) {
            result = sd_bus_message_set_allow_interactive_authorization(call, 1);
        }
        if (result >= 0) {
            result =
                sd_bus_call(bus_, call, std::numeric_limits<std::uint64_t>::max(), &error, &reply);
        }
        std::optional<UnmountError> refusal;
        if (result < 0) {
            // A local failure (the connection broke) comes as an errno alone.
            refusal = UDisks2Refusal::fromBus(
                error.name != nullptr ? error.name : errnoName(-result),
                error.message != nullptr ? error.message : std::strerror(-result),
                UDisks2Refusal::Wait::unlimited);
        }
        sd_bus_error_free(&error);
        sd_bus_message_unref(reply);
        sd_bus_message_unref(call);
        if (refusal) {
            throw *refusal;
        }
    }

private:
    // sdbus-c++ 1.2 leaks its bus when the first connection fails, so the bus is
    // opened with sd-bus first, which cleans up after itself.
    static sd_bus* open(const std::optional<std::string>& address) {
        sd_bus* bus = nullptr;
        int result = 0;
        if (address) {
            result = sd_bus_new(&bus);
            if (result >= 0) {
                result = sd_bus_set_address(bus, address->c_str());
            }
            if (result >= 0) {
                result = sd_bus_set_bus_client(bus, 1);
            }
            if (result >= 0) {
                result = sd_bus_start(bus);
            }
        } else {
            result = sd_bus_open_system(&bus);
        }
        if (result < 0) {
            sd_bus_flush_close_unref(bus);
            throw UDisks2Refusal::unreachable(errnoName(-result), std::strerror(-result));
        }
        return bus;
    }

    std::chrono::milliseconds timeout_;
    sd_bus* bus_;
    std::unique_ptr<sdbus::IConnection> connection_;
};

// One unmount and power-off of the proved disk, on one bus connection.
class Ejection {
public:
    Ejection(const SysfsBlockDevices& sysfs, const ProvedDisk& proved, dev_t number,
             Session& session, WriteOutJournal& journal, BlockDeviceUsage usage,
             std::stop_token stop)
        : sysfs_(sysfs)
        , proved_(proved)
        , number_(number)
        , session_(session)
        , journal_(journal)
        , stop_(std::move(stop))
        , usage_(std::move(usage)) {}

    void run() {
        confirm();
        refresh();
        if (whole_ == nullptr) {
            throw UnmountError(notFoundName,
                               "Could not eject: udisks2 does not know the disk /dev/" +
                                   proved_.wholeDiskIdentifier + ".");
        }
        requireProvedMounts();
        unmountEverything();
        // Unmounted here, but a copy in another mount namespace keeps the file system alive.
        if (const auto use = usage_.mount(devices())) {
            throw stillInUse(*use);
        }
        closeLayers();
        if (const auto use = usage_.use(devices())) {
            throw stillInUse(*use);
        }
        powerOffOrEject();
    }

private:
    // The device still has the number and the attachment that were proved.
    void confirm() const {
        const auto& name = proved_.wholeDiskIdentifier;
        bool same = sysfs_.deviceNumber(name) == number_;
        if (const auto sequence = sysfs_.diskSequence(name); same && sequence) {
            same = *sequence == proved_.attachmentID;
        } else if (same) {
            // Kernels without diskseq: udev's initialization time, as the listing used.
            same = udevInitializedMicroseconds(number_) == proved_.attachmentID;
        }
        if (!same) {
            throw identityChanged();
        }
    }

    void call(const std::string& path, const std::string& interface, const std::string& method) {
        // Cancelled: whatever runs already finishes in udisks2, but nothing new starts.
        if (stop_.stop_requested()) {
            throw CancellationError();
        }
        confirm();
        journal_.start();
        session_.act(path, interface, method);
        journal_.observe();
    }

    void refresh() {
        objects_ = session_.managedObjects();
        all_ = blocks(objects_);
        whole_ = byDeviceNumber(all_, number_);
        members_ = whole_ != nullptr
                       ? membersDeepestFirst(all_, *whole_, sysfs_, proved_.wholeDiskIdentifier)
                       : std::vector<const BlockObject*>{};
    }

    // Every path the check proved must be mounted from this disk now.
    void requireProvedMounts() const {
        std::set<std::filesystem::path> mounted;
        for (const auto* member : members_) {
            for (const auto& point : member->mountPoints) {
                mounted.insert(std::filesystem::path(point).lexically_normal());
            }
        }
        for (const auto& path : proved_.mountPaths) {
            if (!mounted.contains(path.lexically_normal())) {
                throw identityChanged();
            }
        }
    }

    // Each Unmount removes one mount point, so a file system mounted several times
    // takes several rounds; a disk that drops out of udisks2 has nothing left.
    void unmountEverything() {
        auto remaining = mountCount(members_);
        for (int round = 0; round < maximumRounds && remaining > 0 && whole_ != nullptr; ++round) {
            for (const auto* member : members_) {
                if (!member->mountPoints.empty()) {
                    call(member->path, filesystemInterface, "Unmount");
                }
            }
            refresh();
            const auto left = mountCount(members_);
            if (left >= remaining) {
                break;
            }
            remaining = left;
        }
        for (const auto* member : members_) {
            if (!member->mountPoints.empty()) {
                throw stillInUse(
                    BlockDeviceUse{std::filesystem::path(member->device).filename().string(),
                                   member->mountPoints.front(), false, std::nullopt, std::nullopt});
            }
        }
    }

    bool isUnlocked(const BlockObject& block) const {
        return block.isEncrypted &&
               std::any_of(all_.begin(), all_.end(), [&block](const BlockObject& other) {
                   return other.cryptoBackingDevice == block.path;
               });
    }

    // A block of udisks2's lvm2 module exists only while its logical volume is active.
    bool isActiveVolume(const BlockObject& block) const { return block.logicalVolume.has_value(); }

    // Deepest first: a logical volume goes before the container that holds its volume
    // group, an inner container before the outer one. The disk cannot be powered off
    // while any of them is open.
    void closeLayers() {
        for (const auto* member : members_) {
            if (isUnlocked(*member)) {
                closeOrName(*member, member->path, encryptedInterface, "Lock");
            }
            if (isActiveVolume(*member)) {
                closeOrName(*member, *member->logicalVolume, logicalVolumeInterface, "Deactivate");
            }
        }
        refresh();
        for (const auto* member : members_) {
            if (isUnlocked(*member)) {
                throw stillOpen(*member, "is still unlocked", "");
            }
            if (isActiveVolume(*member)) {
                throw stillOpen(*member, "is still active", "");
            }
        }
    }

    void closeOrName(const BlockObject& member, const std::string& path,
                     const std::string& interface, const std::string& method) {
        try {
            call(path, interface, method);
        } catch (const UnmountError& error) {
            if (UDisks2Refusal::speaksForItself(error.name)) {
                throw;
            }
            throw stillOpen(member,
                            method == "Lock" ? "could not be locked" : "could not be deactivated",
                            " udisks2 said: " + error.message);
        }
    }

    static UnmountError stillOpen(const BlockObject& member, const std::string& what,
                                  const std::string& detail) {
        const std::string kind = member.isEncrypted ? "encrypted volume " : "logical volume ";
        return UnmountError(stillOpenName, "Could not eject: the " + kind + member.device +
                                               " of this disk " + what +
                                               ", so the disk was not powered off." + detail);
    }

    void powerOffOrEject() {
        refresh();
        const auto drive = whole_ != nullptr ? whole_->drive : sdbus::ObjectPath("/");
        const auto found = drive == "/" ? objects_.end() : objects_.find(drive);
        if (found == objects_.end()) {
            return; // a loop device or similar: unmounted, nothing to power off
        }
        if (property<bool>(found->second, driveInterface, "CanPowerOff").value_or(false)) {
            call(drive, driveInterface, "PowerOff");
        } else if (property<bool>(found->second, driveInterface, "Ejectable").value_or(false)) {
            call(drive, driveInterface, "Eject");
        }
    }

    // What sysfs lists now and what udisks2 last showed of the disk.
    std::vector<BlockDevice> devices() const {
        return devicesOf(sysfs_.family(proved_.wholeDiskIdentifier), members_);
    }

    const SysfsBlockDevices& sysfs_;
    const ProvedDisk& proved_;
    dev_t number_;
    Session& session_;
    WriteOutJournal& journal_;
    std::stop_token stop_;
    BlockDeviceUsage usage_;
    ManagedObjects objects_;
    std::vector<BlockObject> all_;
    const BlockObject* whole_ = nullptr;
    std::vector<const BlockObject*> members_;
};

} // namespace

UDisks2Unmounter::UDisks2Unmounter(Executor& executor, std::optional<std::string> busAddress,
                                   std::chrono::milliseconds callTimeout,
                                   std::filesystem::path sysRoot, Logger* logger,
                                   std::filesystem::path procRoot)
    : executor_(executor)
    , busAddress_(std::move(busAddress))
    , callTimeout_(callTimeout)
    , sysRoot_(std::move(sysRoot))
    , logger_(logger)
    , procRoot_(std::move(procRoot)) {}

Task<void> UDisks2Unmounter::unmountAndEject(ProvedDisk disk) {
    // Named, so that GCC 12 keeps the work and its captures alive across the suspension.
    auto work = [this, disk = std::move(disk)](std::stop_token stop) {
        unmountAndEjectNow(disk, std::move(stop));
    };
    auto background = runInBackground(executor_, std::move(work));
    co_await std::move(background);
}

void UDisks2Unmounter::unmountAndEjectNow(const ProvedDisk& disk, std::stop_token stop) const {
    const SysfsBlockDevices sysfs(sysRoot_);
    const auto number = sysfs.deviceNumber(disk.wholeDiskIdentifier);
    if (!number) {
        throw identityChanged();
    }
    Session session(busAddress_, callTimeout_);
    WriteOutJournal journal(logger_, executor_, sysRoot_, disk.wholeDiskIdentifier);
    try {
        Ejection(sysfs, disk, *number, session, journal, BlockDeviceUsage(procRoot_),
                 std::move(stop))
            .run();
    } catch (const CancellationError&) {
        journal.end("cancelled");
        throw;
    } catch (...) {
        journal.end("failed");
        throw;
    }
    journal.end("ok");
}

} // namespace tovo
