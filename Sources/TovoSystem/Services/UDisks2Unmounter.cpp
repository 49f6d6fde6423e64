#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include "TovoCore/Async/Background.hpp"

#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <algorithm>
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
// A mount listed twice needs one unmount per mount point.
constexpr int maximumRounds = 4;

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
        BlockObject block{path, {}, {}, {}, {}, interfaces.contains(encryptedInterface), {}};
        if (auto device =
                property<std::vector<std::uint8_t>>(interfaces, blockInterface, "Device")) {
            block.device = bytesText(*device);
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

const BlockObject* wholeDisk(const std::vector<BlockObject>& all,
                             const std::filesystem::path& mountPath,
                             const std::optional<std::string>& identifier) {
    const auto byPath = [&all](const sdbus::ObjectPath& path) -> const BlockObject* {
        for (const auto& block : all) {
            if (block.path == path) {
                return &block;
            }
        }
        return nullptr;
    };
    if (identifier) {
        for (const auto& block : all) {
            if (block.device == "/dev/" + *identifier) {
                return &block;
            }
        }
        return nullptr;
    }
    const auto wanted = mountPath.lexically_normal();
    for (const auto& block : all) {
        for (const auto& point : block.mountPoints) {
            if (std::filesystem::path(point).lexically_normal() == wanted) {
                return block.partitionTable ? byPath(*block.partitionTable) : &block;
            }
        }
    }
    return nullptr;
}

// The whole disk, its partitions and what is unlocked on them, deepest first.
std::vector<const BlockObject*> membersDeepestFirst(const std::vector<BlockObject>& all,
                                                    const BlockObject& whole) {
    std::vector<const BlockObject*> members{&whole};
    std::set<std::string> paths{whole.path};
    for (bool grew = true; grew;) {
        grew = false;
        for (const auto& block : all) {
            const bool below =
                (block.partitionTable && paths.contains(*block.partitionTable)) ||
                (block.cryptoBackingDevice && paths.contains(*block.cryptoBackingDevice));
            if (below && paths.insert(block.path).second) {
                members.push_back(&block);
                grew = true;
            }
        }
    }
    std::reverse(members.begin(), members.end());
    return members;
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

} // namespace

UDisks2Unmounter::UDisks2Unmounter(Executor& executor, std::optional<std::string> busAddress,
                                   std::chrono::milliseconds callTimeout)
    : executor_(executor)
    , busAddress_(std::move(busAddress))
    , callTimeout_(callTimeout) {}

Task<void> UDisks2Unmounter::unmountAndEject(std::filesystem::path mountPath,
                                             std::optional<std::string> wholeDiskIdentifier) {
    // Named, so that GCC 12 keeps the work and its captures alive across the suspension.
    auto work = [this, mountPath = std::move(mountPath),
                 wholeDiskIdentifier = std::move(wholeDiskIdentifier)] {
        unmountAndEjectNow(mountPath, wholeDiskIdentifier);
    };
    auto background = runInBackground(executor_, std::move(work));
    co_await std::move(background);
}

void UDisks2Unmounter::unmountAndEjectNow(
    const std::filesystem::path& mountPath,
    const std::optional<std::string>& wholeDiskIdentifier) const {
    Session session(busAddress_, callTimeout_);
    std::optional<sdbus::ObjectPath> drive;
    ManagedObjects objects;
    for (int round = 0; round < maximumRounds; ++round) {
        objects = session.managedObjects();
        const auto all = blocks(objects);
        const auto* whole = wholeDisk(all, mountPath, wholeDiskIdentifier);
        if (whole == nullptr) {
            if (round > 0) {
                break; // gone from udisks2 after its last unmount: nothing left to do
            }
            throw UnmountError(notFoundName, "Could not eject: udisks2 does not know the disk "
                                             "mounted at " +
                                                 mountPath.string() + ".");
        }
        drive = whole->drive;
        bool unmounted = false;
        for (const auto* member : membersDeepestFirst(all, *whole)) {
            if (!member->mountPoints.empty()) {
                session.call(member->path, filesystemInterface, "Unmount");
                unmounted = true;
            }
        }
        if (!unmounted) {
            // Lock what was unlocked on the disk, so that it can be powered off.
            for (const auto* member : membersDeepestFirst(all, *whole)) {
                const bool unlocked =
                    member->isEncrypted &&
                    std::any_of(all.begin(), all.end(), [member](const BlockObject& block) {
                        return block.cryptoBackingDevice == member->path;
                    });
                if (unlocked) {
                    session.call(member->path, encryptedInterface, "Lock");
                }
            }
            break;
        }
    }
    if (!drive || *drive == "/") {
        return; // a loop device or similar: unmounted, nothing to power off
    }
    const auto found = objects.find(*drive);
    if (found == objects.end()) {
        return;
    }
    if (property<bool>(found->second, driveInterface, "CanPowerOff").value_or(false)) {
        session.call(*drive, driveInterface, "PowerOff");
    } else if (property<bool>(found->second, driveInterface, "Ejectable").value_or(false)) {
        session.call(*drive, driveInterface, "Eject");
    }
}

} // namespace tovo
