#include "TovoSystem/Linux/SessionBusApplication.hpp"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <vector>

namespace tovo {

namespace {

constexpr const char* applicationInterface = "org.freedesktop.Application";

// No answer in time: the application holds the request (it may be showing a save
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

SessionBusApplication::SessionBusApplication(std::optional<std::string> busAddress,
                                             std::string applicationID, std::int32_t receiverPID,
                                             std::function<bool()> receiverStillValid,
                                             std::chrono::milliseconds callTimeout)
    : busAddress_(std::move(busAddress))
    , applicationID_(std::move(applicationID))
    , receiverPID_(receiverPID)
    , receiverStillValid_(std::move(receiverStillValid))
    , callTimeout_(callTimeout) {}

bool SessionBusApplication::isBusName(std::string_view name) {
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

std::string SessionBusApplication::objectPath(std::string_view applicationID) {
    std::string path = "/";
    for (const char c : applicationID) {
        path.push_back(c == '.' ? '/' : c == '-' ? '_' : c);
    }
    return path;
}

template<class Call>
SessionBusApplication::Outcome SessionBusApplication::invoke(const Call& call) const {
    if (!busAddress_ || !isBusName(applicationID_) || !mayBeListening(*busAddress_)) {
        return Outcome::unreachable;
    }
    std::unique_ptr<sdbus::IConnection> connection;
    try {
        connection = sdbus::createSessionBusConnectionWithAddress(*busAddress_);
    } catch (const sdbus::Error&) {
        return Outcome::unreachable;
    }
    // The owner's unique name: a request addressed to it can reach no other connection,
    // even if the well-known id changes hands meanwhile.
    std::string owner;
    std::uint32_t ownerPID = 0;
    try {
        auto bus = sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
        bus->callMethod("GetNameOwner")
            .onInterface("org.freedesktop.DBus")
            .withArguments(applicationID_)
            .withTimeout(callTimeout_)
            .storeResultsTo(owner);
        try {
            bus->callMethod("GetConnectionUnixProcessID")
                .onInterface("org.freedesktop.DBus")
                .withArguments(owner)
                .withTimeout(callTimeout_)
                .storeResultsTo(ownerPID);
        } catch (const sdbus::Error&) {
            return Outcome::otherReceiver;
        }
    } catch (const sdbus::Error&) {
        return Outcome::unreachable;
    }
    if (receiverPID_ < 1 || ownerPID != static_cast<std::uint32_t>(receiverPID_) ||
        (receiverStillValid_ && !receiverStillValid_())) {
        return Outcome::otherReceiver;
    }
    try {
        auto application = sdbus::createProxy(*connection, owner, objectPath(applicationID_));
        call(*application);
        return Outcome::accepted;
    } catch (const sdbus::Error& error) {
        if (isStillPending(error.getName())) {
            return Outcome::accepted;
        }
        return wasNotDelivered(error.getName()) ? Outcome::unreachable : Outcome::refused;
    }
}

SessionBusApplication::Outcome
SessionBusApplication::activateAction(const std::string& action) const {
    return invoke([&](sdbus::IProxy& application) {
        auto call = application.createMethodCall(applicationInterface, "ActivateAction");
        call << action << std::vector<sdbus::Variant>{} << std::map<std::string, sdbus::Variant>{};
        application.callMethod(call, callTimeout_);
    });
}

SessionBusApplication::Outcome SessionBusApplication::activate() const {
    return invoke([&](sdbus::IProxy& application) {
        auto call = application.createMethodCall(applicationInterface, "Activate");
        call << std::map<std::string, sdbus::Variant>{};
        application.callMethod(call, callTimeout_);
    });
}

} // namespace tovo
