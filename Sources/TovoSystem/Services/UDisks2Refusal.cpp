#include "TovoSystem/Services/UDisks2Refusal.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace tovo::UDisks2Refusal {

namespace {

template<std::size_t N>
bool isOneOf(const std::string& name, const std::array<std::string_view, N>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

constexpr std::array<std::string_view, 3> absentNames{
    "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
    "org.freedesktop.DBus.Error.Spawn.ServiceNotFound"};
constexpr std::array<std::string_view, 3> lateNames{"org.freedesktop.DBus.Error.NoReply",
                                                    "org.freedesktop.DBus.Error.Timeout",
                                                    "System.Error.ETIMEDOUT"};
// The bus connection broke while the call was under way.
constexpr std::array<std::string_view, 5> lostNames{
    "org.freedesktop.DBus.Error.Disconnected", "System.Error.ECONNRESET", "System.Error.ENOTCONN",
    "System.Error.EPIPE", "System.Error.ESHUTDOWN"};
constexpr std::array<std::string_view, 3> forbiddenNames{
    "org.freedesktop.UDisks2.Error.NotAuthorized", "org.freedesktop.PolicyKit1.Error.NotAuthorized",
    "org.freedesktop.DBus.Error.AccessDenied"};
constexpr std::array<std::string_view, 2> passwordNeededNames{
    "org.freedesktop.UDisks2.Error.NotAuthorizedCanObtain",
    "org.freedesktop.DBus.Error.InteractiveAuthorizationRequired"};
constexpr std::array<std::string_view, 2> dismissedNames{
    "org.freedesktop.UDisks2.Error.NotAuthorizedDismissed",
    "org.freedesktop.PolicyKit1.Error.Cancelled"};

const std::string notAllowed = "Tovo was not allowed to eject this disk.";

} // namespace

UnmountError fromBus(const std::string& name, const std::string& message, Wait wait) {
    if (isOneOf(name, absentNames)) {
        return UnmountError(name, "Could not eject: udisks2, the system's disk service, is not "
                                  "running, so the disk cannot be unmounted.");
    }
    // Without a time limit, no answer means udisks2 left the bus in the middle of its work.
    if (wait == Wait::unlimited && (isOneOf(name, lateNames) || isOneOf(name, lostNames))) {
        return UnmountError(name, "Could not eject: udisks2, the system's disk service, stopped "
                                  "before it finished, so the disk may still be in use. Do not "
                                  "unplug it; try again.");
    }
    if (isOneOf(name, lateNames)) {
        return UnmountError(name, "Could not eject: udisks2, the system's disk service, did not "
                                  "answer in time.");
    }
    if (isOneOf(name, lostNames)) {
        return UnmountError(name, "Could not eject: the connection to udisks2 was lost.");
    }
    if (isOneOf(name, forbiddenNames)) {
        return UnmountError(name, notAllowed + " The system's policy does not let this account "
                                               "unmount or power off the disk.");
    }
    if (isOneOf(name, passwordNeededNames)) {
        return UnmountError(name, notAllowed + " The system asks for a password first, and no "
                                               "password dialog could be shown.");
    }
    if (isOneOf(name, dismissedNames)) {
        return UnmountError(name, "The password dialog was closed, so the disk was not ejected.");
    }
    return UnmountError(name, message);
}

bool speaksForItself(const std::string& name) {
    return isOneOf(name, absentNames) || isOneOf(name, lateNames) || isOneOf(name, lostNames) ||
           isOneOf(name, forbiddenNames) || isOneOf(name, passwordNeededNames) ||
           isOneOf(name, dismissedNames);
}

UnmountError unreachable(const std::string& name, const std::string& detail) {
    return UnmountError(name, "Could not eject: the system bus cannot be reached, so udisks2 "
                              "cannot be asked to unmount the disk. " +
                                  detail);
}

} // namespace tovo::UDisks2Refusal
