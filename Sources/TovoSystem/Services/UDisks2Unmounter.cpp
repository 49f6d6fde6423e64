#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoSystem/Linux/BlockDeviceUsage.hpp"
#include "TovoSystem/Linux/SysfsBlockDevices.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"

#include <libudev.h>
#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <charconv>
#include <cstring>
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
};

std::vector<BlockObject> blocks(const ManagedObjects& objects) {
    std::vector<BlockObject> result;
    for (const auto& [path, interfaces] : objects) {
        if (!interfaces.contains(blockInterface)) {
            continue;
        }
        BlockObject block{path, {}, {}, {}, {}, {}, interfaces.contains(encryptedInterface), {}};
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

// The whole disk, its partitions, what is unlocked on them and any other device the
// kernel builds on them, deepest first.
std::vector<const BlockObject*> membersDeepestFirst(const std::vector<BlockObject>& all,
                                                    const BlockObject& whole,
                                                    const std::vector<BlockDevice>& family) {
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
    std::reverse(members.begin(), members.end());
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

class Session {
public:
    Session(const std::optional<std::string>& address, std::chrono::milliseconds timeout)
        : timeout_(timeout) {
        probe(address);
        try {
            connection_ = address ? sdbus::createSessionBusConnectionWithAddress(*address)
                                  : sdbus::createSystemBusConnection();
        } catch (const sdbus::Error& error) {
            throw unreachable(error.getName(), error.getMessage());
        }
    }

    ManagedObjects managedObjects() {
        ManagedObjects objects;
        call(rootPath, objectManager, "GetManagedObjects",
             [&](sdbus::MethodInvoker& invoker) { invoker.storeResultsTo(objects); });
        return objects;
    }

    void call(const std::string& path, const std::string& interface, const std::string& method) {
        const Options options{{"auth.no_user_interaction", sdbus::Variant(true)}};
        call(path, interface, method,
             [&](sdbus::MethodInvoker& invoker) { invoker.withArguments(options); });
    }

private:
    template<class Setup>
    void call(const std::string& path, const std::string& interface, const std::string& method,
              Setup setup) {
        try {
            auto proxy = sdbus::createProxy(*connection_, service, path);
            auto invoker = proxy->callMethod(method);
            invoker.onInterface(interface).withTimeout(timeout_);
            setup(invoker);
        } catch (const sdbus::Error& error) {
            throw translated(error);
        }
    }

    static UnmountError unreachable(const std::string& name, const std::string& detail) {
        return UnmountError(name, "Could not eject: the system bus cannot be reached, so udisks2 "
                                  "cannot be asked to unmount the disk. " +
                                      detail);
    }

    // sdbus-c++ 1.2 leaks its bus when the first connection fails, so the bus is
    // tried once with sd-bus directly, which cleans up after itself.
    static void probe(const std::optional<std::string>& address) {
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
        sd_bus_flush_close_unref(bus);
        if (result < 0) {
            const char* name = strerrorname_np(-result);
            throw unreachable(std::string("System.Error.") + (name != nullptr ? name : "Unknown"),
                              std::strerror(-result));
        }
    }

    static UnmountError translated(const sdbus::Error& error) {
        const auto& name = error.getName();
        if (name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
            name == "org.freedesktop.DBus.Error.NameHasNoOwner" ||
            name == "org.freedesktop.DBus.Error.Spawn.ServiceNotFound") {
            return UnmountError(name, "Could not eject: udisks2, the system's disk service, is "
                                      "not running, so the disk cannot be unmounted.");
        }
        if (name == "org.freedesktop.DBus.Error.NoReply" ||
            name == "org.freedesktop.DBus.Error.Timeout" || name == "System.Error.ETIMEDOUT") {
            return UnmountError(name, "Could not eject: udisks2, the system's disk service, did "
                                      "not answer in time.");
        }
        return UnmountError(name, error.getMessage());
    }

    std::chrono::milliseconds timeout_;
    std::unique_ptr<sdbus::IConnection> connection_;
};

// One unmount and power-off of the proved disk, on one bus connection.
class Ejection {
public:
    Ejection(const SysfsBlockDevices& sysfs, const ProvedDisk& proved, dev_t number,
             Session& session)
        : sysfs_(sysfs)
        , proved_(proved)
        , number_(number)
        , session_(session) {}

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
        lockUnlocked();
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
        confirm();
        session_.call(path, interface, method);
    }

    void refresh() {
        objects_ = session_.managedObjects();
        all_ = blocks(objects_);
        whole_ = byDeviceNumber(all_, number_);
        members_ =
            whole_ != nullptr
                ? membersDeepestFirst(all_, *whole_, sysfs_.family(proved_.wholeDiskIdentifier))
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

    // Lock what was unlocked on the disk, so that it can be powered off.
    void lockUnlocked() {
        for (const auto* member : members_) {
            const bool unlocked =
                member->isEncrypted &&
                std::any_of(all_.begin(), all_.end(), [member](const BlockObject& block) {
                    return block.cryptoBackingDevice == member->path;
                });
            if (unlocked) {
                call(member->path, encryptedInterface, "Lock");
            }
        }
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
    BlockDeviceUsage usage_;
    ManagedObjects objects_;
    std::vector<BlockObject> all_;
    const BlockObject* whole_ = nullptr;
    std::vector<const BlockObject*> members_;
};

} // namespace

UDisks2Unmounter::UDisks2Unmounter(Executor& executor, std::optional<std::string> busAddress,
                                   std::chrono::milliseconds callTimeout,
                                   std::filesystem::path sysRoot)
    : executor_(executor)
    , busAddress_(std::move(busAddress))
    , callTimeout_(callTimeout)
    , sysRoot_(std::move(sysRoot)) {}

Task<void> UDisks2Unmounter::unmountAndEject(ProvedDisk disk) {
    // Named, so that GCC 12 keeps the work and its captures alive across the suspension.
    auto work = [this, disk = std::move(disk)] { unmountAndEjectNow(disk); };
    auto background = runInBackground(executor_, std::move(work));
    co_await std::move(background);
}

void UDisks2Unmounter::unmountAndEjectNow(const ProvedDisk& disk) const {
    const SysfsBlockDevices sysfs(sysRoot_);
    const auto number = sysfs.deviceNumber(disk.wholeDiskIdentifier);
    if (!number) {
        throw identityChanged();
    }
    Session session(busAddress_, callTimeout_);
    Ejection(sysfs, disk, *number, session).run();
}

} // namespace tovo
