#include "TovoSystem/Linux/SessionBus.hpp"

#include <sdbus-c++/sdbus-c++.h>

#include <filesystem>
#include <map>

namespace tovo {

namespace {

const std::string busName = "org.freedesktop.DBus";
const std::string busPath = "/org/freedesktop/DBus";

// No answer in time: the receiver holds the request (it may be showing a save
// dialog before it answers), so it was delivered. Asking again would ask twice.
bool isStillPending(const std::string& errorName) {
    return errorName == "org.freedesktop.DBus.Error.Timeout" ||
           errorName == "org.freedesktop.DBus.Error.TimedOut" ||
           errorName == "org.freedesktop.DBus.Error.NoReply";
}

// Errors that prove the request reached nothing that could act on it.
bool wasNotDelivered(const std::string& errorName) {
    return errorName == "org.freedesktop.DBus.Error.ServiceUnknown" ||
           errorName == "org.freedesktop.DBus.Error.NameHasNoOwner" ||
           errorName == "org.freedesktop.DBus.Error.UnknownObject" ||
           errorName == "org.freedesktop.DBus.Error.UnknownInterface" ||
           errorName == "org.freedesktop.DBus.Error.UnknownMethod";
}

// A unix socket address whose socket is missing is no bus. Checked before
// connecting: a failed connection attempt leaks its bus object in sdbus-c++ 1.2.
bool mayBeListening(const std::string& address) {
    constexpr std::string_view prefix = "unix:path=";
    if (address.compare(0, prefix.size(), prefix) != 0) {
        return true;
    }
    const auto path = address.substr(prefix.size(), address.find(',') - prefix.size());
    std::error_code error;
    return std::filesystem::is_socket(path, error);
}

bool isElementCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

} // namespace

SessionBus::SessionBus(const std::optional<std::string>& address,
                       std::chrono::milliseconds callTimeout)
    : callTimeout_(callTimeout) {
    if (!address || !mayBeListening(*address)) {
        return;
    }
    try {
        connection_ = sdbus::createSessionBusConnectionWithAddress(*address);
    } catch (const sdbus::Error&) {
        connection_.reset();
    }
}

SessionBus::~SessionBus() = default;

bool SessionBus::isBusName(std::string_view name) {
    if (name.empty() || name.size() > 255) {
        return false;
    }
    std::size_t elements = 0;
    std::size_t start = 0;
    while (true) {
        const auto dot = name.find('.', start);
        const auto element = name.substr(start, dot == std::string_view::npos ? dot : dot - start);
        if (element.empty() || (element.front() >= '0' && element.front() <= '9')) {
            return false;
        }
        for (const char c : element) {
            if (!isElementCharacter(c)) {
                return false;
            }
        }
        ++elements;
        if (dot == std::string_view::npos) {
            break;
        }
        start = dot + 1;
    }
    return elements >= 2;
}

std::string SessionBus::objectPath(std::string_view applicationID) {
    std::string path = "/";
    for (const char c : applicationID) {
        path.push_back(c == '.' ? '/' : c == '-' ? '_' : c);
    }
    return path;
}

std::optional<std::string> SessionBus::ownerOpenedBy(const std::string& name,
                                                     std::int32_t pid) const {
    if (!connection_ || pid < 1 || !isBusName(name)) {
        return std::nullopt;
    }
    try {
        auto bus = sdbus::createProxy(*connection_, busName, busPath);
        std::string owner;
        bus->callMethod("GetNameOwner")
            .onInterface(busName)
            .withArguments(name)
            .withTimeout(callTimeout_)
            .storeResultsTo(owner);
        std::uint32_t ownerPID = 0;
        bus->callMethod("GetConnectionUnixProcessID")
            .onInterface(busName)
            .withArguments(owner)
            .withTimeout(callTimeout_)
            .storeResultsTo(ownerPID);
        if (ownerPID != static_cast<std::uint32_t>(pid)) {
            return std::nullopt;
        }
        return owner;
    } catch (const sdbus::Error&) {
        return std::nullopt;
    }
}

std::vector<std::string> SessionBus::names() const {
    std::vector<std::string> result;
    if (!connection_) {
        return result;
    }
    try {
        auto bus = sdbus::createProxy(*connection_, busName, busPath);
        bus->callMethod("ListNames")
            .onInterface(busName)
            .withTimeout(callTimeout_)
            .storeResultsTo(result);
    } catch (const sdbus::Error&) {
        result.clear();
    }
    return result;
}

std::optional<bool> SessionBus::booleanProperty(const std::string& destination,
                                                const std::string& path,
                                                const std::string& interface,
                                                const std::string& property) const {
    if (!connection_) {
        return std::nullopt;
    }
    try {
        auto proxy = sdbus::createProxy(*connection_, destination, path);
        sdbus::Variant value;
        proxy->callMethod("Get")
            .onInterface("org.freedesktop.DBus.Properties")
            .withArguments(interface, property)
            .withTimeout(callTimeout_)
            .storeResultsTo(value);
        return value.get<bool>();
    } catch (const sdbus::Error&) {
        return std::nullopt;
    }
}

std::optional<std::vector<std::string>> SessionBus::actions(const std::string& destination,
                                                            const std::string& path) const {
    if (!connection_) {
        return std::nullopt;
    }
    try {
        auto proxy = sdbus::createProxy(*connection_, destination, path);
        std::vector<std::string> listed;
        proxy->callMethod("List")
            .onInterface("org.gtk.Actions")
            .withTimeout(callTimeout_)
            .storeResultsTo(listed);
        return listed;
    } catch (const sdbus::Error&) {
        return std::nullopt;
    }
}

SessionBus::Outcome
SessionBus::send(const std::string& destination, const std::string& path,
                 const std::string& interface, const std::string& method,
                 const std::function<void(sdbus::MethodCall&)>& addArguments) const {
    if (!connection_) {
        return Outcome::unreachable;
    }
    try {
        auto proxy = sdbus::createProxy(*connection_, destination, path);
        auto call = proxy->createMethodCall(interface, method);
        if (addArguments) {
            addArguments(call);
        }
        proxy->callMethod(call, callTimeout_);
        return Outcome::accepted;
    } catch (const sdbus::Error& error) {
        if (isStillPending(error.getName())) {
            return Outcome::accepted;
        }
        return wasNotDelivered(error.getName()) ? Outcome::unreachable : Outcome::refused;
    }
}

} // namespace tovo
