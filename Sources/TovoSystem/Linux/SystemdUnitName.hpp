#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// A systemd unit that a desktop launcher made for one application:
/// `app-[launcher-]<id>[@n].service` or `app-[launcher-]<id>-<n>.scope`.
struct SystemdAppUnit {
    std::string unitPath; ///< the cgroup path up to and including the unit
    std::optional<std::string> launcher;
    std::string applicationID; ///< unescaped

    bool operator==(const SystemdAppUnit&) const = default;
};

struct SystemdUnitName {
    /// The application unit named `unit` (one path component), if it is one.
    static std::optional<SystemdAppUnit> parseAppUnit(std::string_view unit);
    /// The innermost application unit of a /proc/<pid>/cgroup text: the unified
    /// hierarchy first, then the named systemd one.
    static std::optional<SystemdAppUnit> appUnitOfCgroup(std::string_view cgroupFile);
    /// Undoes systemd's `\xNN` escaping; nothing when an escape is malformed.
    static std::optional<std::string> unescape(std::string_view escaped);
};

} // namespace tovo
