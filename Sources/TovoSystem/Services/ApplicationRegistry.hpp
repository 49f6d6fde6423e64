#pragma once

#include <cstdint>
#include <functional>
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

/// A way Tovo can ask one process to quit, as its own Quit would.
enum class QuitRoute {
    mediaPlayer,       ///< its media-player bus name says it can quit: Quit
    applicationAction, ///< its application id on the session bus offers the "quit" action
    windowClose        ///< its X11 windows take WM_DELETE_WINDOW
};

/// What became of one polite quit request.
enum class QuitRequestOutcome {
    sent,            ///< delivered to the checked process itself
    refused,         ///< the application answered the request with an error
    noProvenRoute,   ///< no route whose receiver is proved to be that process: nothing sent
    identityChanged, ///< the identity check failed while the process was pinned: nothing sent
    exited           ///< the process was gone before anything was sent
};

/// Which processes are desktop applications.
class ApplicationDirectory {
public:
    virtual ~ApplicationDirectory() = default;
    /// The application whose main process is `pid`, if any.
    virtual std::optional<RunningApplication> runningApplication(std::int32_t pid) const = 0;
};

/// Which processes are desktop applications, and the polite requests Tovo may
/// make of them. Linux: desktop entries, systemd app units, the session bus and X11.
class ApplicationRegistry : public ApplicationDirectory {
public:
    /// True once the application with this pid has ended.
    virtual bool isTerminated(std::int32_t pid) const = 0;
    /// The first route that reaches this very process, proved now: media player, then
    /// application action, then window close. None: Tovo cannot ask it on this desktop.
    virtual std::optional<QuitRoute> quitRoute(std::int32_t pid) const = 0;
    /// The application's own Quit through `route`, never a signal. The process is pinned
    /// first, so its pid cannot be reused meanwhile; `confirmIdentity` then re-proves it,
    /// and the request goes out at most once, only to a receiver proved to be that process.
    virtual QuitRequestOutcome terminate(std::int32_t pid, QuitRoute route,
                                         const std::function<bool()>& confirmIdentity) = 0;
    /// Brings the application to the front. True when it was asked.
    virtual bool activate(std::int32_t pid) = 0;
    /// Tovo's own application id.
    virtual std::optional<std::string> ownBundleIdentifier() const = 0;
};

/// Said when no route could be proved to reach the very process that was checked.
inline constexpr const char* noProvenQuitRouteMessage =
    "Tovo could not confirm that its quit request would reach this app, so it sent nothing. "
    "Close the app yourself.";

/// Said when no route reaches a desktop application at all.
inline constexpr const char* noQuitRouteMessage =
    "Tovo cannot ask this app to quit on this desktop. Quit it from its own window or menu, "
    "then try again.";

/// Tovo's application id: journal subsystem, desktop file and icon name.
inline constexpr const char* tovoApplicationID = "org.tovo.Tovo";

} // namespace tovo
