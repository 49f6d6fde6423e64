#pragma once

#include "TovoSystem/Linux/SessionBus.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// The Linux registry of running desktop applications. A process is an
/// application when it is the main process of a desktop application's systemd
/// unit, or was launched from a desktop entry, or runs a flatpak; its id names
/// its desktop entry. Quit and activation go through the application's own
/// session-bus interface, else its X11 windows, each proved to belong to the very
/// process asked. Never a signal. Every call may block: keep it off the UI thread.
class DesktopApplicationRegistry final : public ApplicationRegistry {
public:
    /// Where the registry looks; tests point these at fixtures.
    struct Options {
        std::filesystem::path procRoot = "/proc";
        /// Data directories in search order: the data home first, then the data dirs.
        std::vector<std::filesystem::path> dataDirectories;
        /// The messages locale (as in LANG); absent: unlocalized names.
        std::optional<std::string> locale;
        std::optional<std::string> sessionBusAddress;
        std::optional<std::string> display;
        /// How long a quit or activate request on the bus may keep us waiting.
        std::chrono::milliseconds busCallTimeout = std::chrono::seconds(2);
        std::string ownApplicationID = tovoApplicationID;

        /// From XDG_DATA_HOME, XDG_DATA_DIRS, LC_ALL/LC_MESSAGES/LANG,
        /// DBUS_SESSION_BUS_ADDRESS (else $XDG_RUNTIME_DIR/bus) and DISPLAY.
        static Options fromEnvironment();
    };

    explicit DesktopApplicationRegistry(Options options = Options::fromEnvironment());

    std::optional<RunningApplication> runningApplication(std::int32_t pid) const override;
    bool isTerminated(std::int32_t pid) const override;
    std::optional<QuitRoute> quitRoute(std::int32_t pid) const override;
    QuitRequestOutcome terminate(std::int32_t pid, QuitRoute route,
                                 const std::function<bool()>& confirmIdentity) override;
    bool activate(std::int32_t pid) override;
    std::optional<std::string> ownBundleIdentifier() const override;

private:
    struct Membership {
        std::string applicationID;
        std::optional<std::filesystem::path> desktopFile; ///< the file it was launched from
        bool isMainProcess;
    };
    std::optional<Membership> membership(std::int32_t pid) const;
    std::optional<Membership> unitMembership(std::int32_t pid) const;
    std::optional<Membership> launchedMembership(std::int32_t pid) const;
    std::optional<Membership> flatpakMembership(std::int32_t pid) const;
    std::optional<std::string> readProcFile(std::int32_t pid, const char* name) const;
    std::optional<std::int32_t> parentOf(std::int32_t pid) const;
    /// The media player's unique bus name that `pid` opened, when it says it can quit.
    std::optional<std::string> quittablePlayer(const SessionBus& bus, std::int32_t pid) const;

    Options options_;
};

} // namespace tovo
