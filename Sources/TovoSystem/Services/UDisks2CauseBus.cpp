#include "TovoSystem/Services/UDisks2CauseBus.hpp"

#include "TovoSystem/Services/Unmounter.hpp"

#include <sdbus-c++/sdbus-c++.h>
#include <systemd/sd-bus.h>

#include <map>
#include <memory>

namespace tovo {

namespace {

const std::string service = "org.freedesktop.UDisks2";
const std::string blockInterface = "org.freedesktop.UDisks2.Block";

using Properties = std::map<std::string, sdbus::Variant>;
using Interfaces = std::map<std::string, Properties>;
using ManagedObjects = std::map<sdbus::ObjectPath, Interfaces>;

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

// sdbus-c++ 1.2 leaks its bus when the first connection fails, so the bus is tried
// once with sd-bus directly, which cleans up after itself.
bool reachable(const std::optional<std::string>& address) {
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
    return result >= 0;
}

std::unique_ptr<sdbus::IConnection> connect(const std::optional<std::string>& address) {
    if (!reachable(address)) {
        throw UnmountError("org.tovo.Tovo.Error.BusUnreachable",
                           "The system bus cannot be reached, so udisks2 cannot be asked.");
    }
    return address ? sdbus::createSessionBusConnectionWithAddress(*address)
                   : sdbus::createSystemBusConnection();
}

} // namespace

UDisks2CauseBus::UDisks2CauseBus(std::optional<std::string> busAddress,
                                 std::chrono::milliseconds callTimeout)
    : busAddress_(std::move(busAddress))
    , callTimeout_(callTimeout) {}

std::vector<UDisks2Block> UDisks2CauseBus::blocks() const {
    ManagedObjects objects;
    try {
        auto connection = connect(busAddress_);
        auto proxy = sdbus::createProxy(*connection, service, "/org/freedesktop/UDisks2");
        proxy->callMethod("GetManagedObjects")
            .onInterface("org.freedesktop.DBus.ObjectManager")
            .withTimeout(callTimeout_)
            .storeResultsTo(objects);
    } catch (const std::exception&) {
        // Without udisks2 every cause is left to the user.
        return {};
    }
    std::vector<UDisks2Block> result;
    for (const auto& [path, interfaces] : objects) {
        const auto number = property<std::uint64_t>(interfaces, blockInterface, "DeviceNumber");
        if (!number) {
            continue;
        }
        UDisks2Block block{path,
                           static_cast<dev_t>(*number),
                           {},
                           std::nullopt,
                           interfaces.contains(encryptedInterface),
                           std::nullopt};
        if (auto points = property<std::vector<std::vector<std::uint8_t>>>(
                interfaces, filesystemInterface, "MountPoints")) {
            for (const auto& point : *points) {
                block.mountPoints.push_back(bytesText(point));
            }
        }
        block.loopSetupByUID = property<std::uint32_t>(interfaces, loopInterface, "SetupByUID");
        if (auto backing =
                property<sdbus::ObjectPath>(interfaces, blockInterface, "CryptoBackingDevice");
            backing && *backing != "/") {
            block.cryptoBackingDevice = *backing;
        }
        result.push_back(std::move(block));
    }
    return result;
}

void UDisks2CauseBus::call(const std::string& objectPath, const std::string& interface,
                           const std::string& method) const {
    const std::map<std::string, sdbus::Variant> options{
        {"auth.no_user_interaction", sdbus::Variant(true)}};
    auto connection = connect(busAddress_);
    try {
        auto proxy = sdbus::createProxy(*connection, service, objectPath);
        proxy->callMethod(method)
            .onInterface(interface)
            .withTimeout(callTimeout_)
            .withArguments(options);
    } catch (const sdbus::Error& error) {
        throw UnmountError(error.getName(), error.getMessage());
    }
}

} // namespace tovo
