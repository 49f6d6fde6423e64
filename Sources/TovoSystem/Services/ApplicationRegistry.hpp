#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tovo {

/// How a desktop application presents itself: a regular app with windows, an
/// accessory without a launcher entry, or a background process that may not be
/// shown or asked to quit.
enum class ActivationPolicy { regular = 0, accessory = 1, prohibited = 2 };

/// A running desktop application as the registry sees it now.
struct RunningApplication {
    std::int32_t pid;
    std::optional<std::string> localizedName;
    std::optional<std::string> bundleIdentifier; ///< the desktop application id
    ActivationPolicy activationPolicy;

    bool operator==(const RunningApplication&) const = default;
};

/// Which processes are desktop applications, and the polite requests Tovo may
/// make of them. Linux: desktop entries, systemd app units, the session bus and X11.
class ApplicationRegistry {
public:
    virtual ~ApplicationRegistry() = default;

    /// The application whose main process is `pid`, if any.
    virtual std::optional<RunningApplication> runningApplication(std::int32_t pid) const = 0;
    /// True once the application with this pid has ended.
    virtual bool isTerminated(std::int32_t pid) const = 0;
    /// The application's own Quit, never a signal. True when the request was accepted.
    virtual bool terminate(std::int32_t pid) = 0;
    /// Brings the application to the front. True when it was asked.
    virtual bool activate(std::int32_t pid) = 0;
    /// Tovo's own application id.
    virtual std::optional<std::string> ownBundleIdentifier() const = 0;
};

/// Tovo's application id: journal subsystem, desktop file and icon name.
inline constexpr const char* tovoApplicationID = "org.tovo.Tovo";

} // namespace tovo
