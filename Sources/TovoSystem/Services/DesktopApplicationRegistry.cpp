#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"

#include "TovoSystem/Linux/BoundedFile.hpp"
#include "TovoSystem/Linux/DesktopEntry.hpp"
#include "TovoSystem/Linux/ProcessPin.hpp"
#include "TovoSystem/Linux/SystemdUnitName.hpp"
#include "TovoSystem/Linux/X11Windows.hpp"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace tovo {

namespace {

const std::string applicationInterface = "org.freedesktop.Application";
const std::string mediaPlayerInterface = "org.mpris.MediaPlayer2";
const std::string mediaPlayerPath = "/org/mpris/MediaPlayer2";

std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return std::string(value);
}

std::optional<std::int32_t> parsePID(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < 1) {
        return std::nullopt;
    }
    return value;
}

// One variable of a NUL-separated /proc/<pid>/environ.
std::optional<std::string> variable(std::string_view environ, std::string_view name) {
    while (!environ.empty()) {
        const auto end = environ.find('\0');
        const auto entry = environ.substr(0, end);
        if (entry.size() > name.size() && entry.substr(0, name.size()) == name &&
            entry[name.size()] == '=') {
            return std::string(entry.substr(name.size() + 1));
        }
        environ = end == std::string_view::npos ? std::string_view{} : environ.substr(end + 1);
    }
    return std::nullopt;
}

// The fields of /proc/<pid>/stat after the command, whose parentheses may nest.
std::optional<std::string_view> statFields(std::string_view stat) {
    const auto close = stat.rfind(')');
    if (close == std::string_view::npos || close + 2 > stat.size()) {
        return std::nullopt;
    }
    return stat.substr(close + 2);
}

} // namespace

DesktopApplicationRegistry::Options DesktopApplicationRegistry::Options::fromEnvironment() {
    Options options;
    if (auto home = environment("XDG_DATA_HOME"); home && home->front() == '/') {
        options.dataDirectories.emplace_back(*home);
    } else if (auto userHome = environment("HOME")) {
        options.dataDirectories.push_back(std::filesystem::path(*userHome) / ".local/share");
    }
    std::string dirs = environment("XDG_DATA_DIRS").value_or("/usr/local/share/:/usr/share/");
    std::size_t start = 0;
    while (start <= dirs.size()) {
        const auto colon = std::min(dirs.find(':', start), dirs.size());
        const auto dir = dirs.substr(start, colon - start);
        if (!dir.empty() && dir.front() == '/') {
            options.dataDirectories.emplace_back(dir);
        }
        start = colon + 1;
    }
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (auto locale = environment(name)) {
            options.locale = std::move(locale);
            break;
        }
    }
    options.sessionBusAddress = environment("DBUS_SESSION_BUS_ADDRESS");
    if (!options.sessionBusAddress) {
        if (auto runtime = environment("XDG_RUNTIME_DIR")) {
            const auto socket = std::filesystem::path(*runtime) / "bus";
            std::error_code error;
            if (std::filesystem::exists(socket, error)) {
                options.sessionBusAddress = "unix:path=" + socket.string();
            }
        }
    }
    options.display = environment("DISPLAY");
    return options;
}

DesktopApplicationRegistry::DesktopApplicationRegistry(Options options)
    : options_(std::move(options)) {}

std::optional<std::string> DesktopApplicationRegistry::readProcFile(std::int32_t pid,
                                                                    const char* name) const {
    if (pid < 1) {
        return std::nullopt;
    }
    // A file under /proc/<pid>/root is whatever that process's root holds: maybe a FIFO.
    return BoundedFile::read(options_.procRoot / std::to_string(pid) / name);
}

std::optional<std::int32_t> DesktopApplicationRegistry::parentOf(std::int32_t pid) const {
    const auto stat = readProcFile(pid, "stat");
    const auto fields = stat ? statFields(*stat) : std::nullopt;
    if (!fields) {
        return std::nullopt;
    }
    // state, then the parent's pid
    const auto space = fields->find(' ');
    if (space == std::string_view::npos) {
        return std::nullopt;
    }
    const auto rest = fields->substr(space + 1);
    return parsePID(rest.substr(0, rest.find(' ')));
}

std::optional<DesktopApplicationRegistry::Membership>
DesktopApplicationRegistry::unitMembership(std::int32_t pid) const {
    const auto cgroup = readProcFile(pid, "cgroup");
    const auto unit = cgroup ? SystemdUnitName::appUnitOfCgroup(*cgroup) : std::nullopt;
    if (!unit) {
        return std::nullopt;
    }
    // The unit's main process is the one its launcher started: its parent is outside.
    bool isMain = true;
    if (const auto parent = parentOf(pid)) {
        const auto parentCgroup = readProcFile(*parent, "cgroup");
        const auto parentUnit =
            parentCgroup ? SystemdUnitName::appUnitOfCgroup(*parentCgroup) : std::nullopt;
        isMain = !parentUnit || parentUnit->unitPath != unit->unitPath;
    }
    return Membership{unit->applicationID, std::nullopt, isMain};
}

std::optional<DesktopApplicationRegistry::Membership>
DesktopApplicationRegistry::launchedMembership(std::int32_t pid) const {
    constexpr std::string_view fileVariable = "GIO_LAUNCHED_DESKTOP_FILE";
    const auto environ = readProcFile(pid, "environ");
    const auto file = environ ? variable(*environ, fileVariable) : std::nullopt;
    if (!file) {
        return std::nullopt;
    }
    const std::filesystem::path path(*file);
    if (path.extension() != ".desktop" || path.stem().empty()) {
        return std::nullopt;
    }
    // Children inherit the variable: only the launched process itself counts.
    if (const auto launched = variable(*environ, "GIO_LAUNCHED_DESKTOP_FILE_PID")) {
        if (parsePID(*launched) != pid) {
            return std::nullopt;
        }
    } else if (const auto parent = parentOf(pid)) {
        const auto parentEnviron = readProcFile(*parent, "environ");
        if (parentEnviron && variable(*parentEnviron, fileVariable) == file) {
            return std::nullopt;
        }
    }
    return Membership{path.stem().string(), path, true};
}

std::optional<DesktopApplicationRegistry::Membership>
DesktopApplicationRegistry::flatpakMembership(std::int32_t pid) const {
    const auto info = [&](std::int32_t process) -> std::optional<DesktopEntry> {
        const auto text = readProcFile(process, "root/.flatpak-info");
        return text ? DesktopEntry::parse(*text, "Application") : std::nullopt;
    };
    const auto instance = [&](std::int32_t process) -> std::optional<std::string> {
        const auto text = readProcFile(process, "root/.flatpak-info");
        const auto group = text ? DesktopEntry::parse(*text, "Instance") : std::nullopt;
        return group ? group->value("instance-id") : std::nullopt;
    };
    const auto application = info(pid);
    const auto name = application ? application->value("name") : std::nullopt;
    if (!name || name->empty()) {
        return std::nullopt;
    }
    // Inside the sandbox the application's parent is the sandbox launcher; any
    // deeper process of the same instance is one of its helpers.
    bool isMain = true;
    if (const auto parent = parentOf(pid)) {
        const auto parentCommand = readProcFile(*parent, "comm");
        const bool parentIsLauncher = parentCommand && parentCommand->starts_with("bwrap");
        const auto parentInstance = instance(*parent);
        isMain = parentIsLauncher || !parentInstance || parentInstance != instance(pid);
    }
    return Membership{*name, std::nullopt, isMain};
}

std::optional<DesktopApplicationRegistry::Membership>
DesktopApplicationRegistry::membership(std::int32_t pid) const {
    if (pid < 1) {
        return std::nullopt;
    }
    if (auto unit = unitMembership(pid)) {
        return unit;
    }
    if (auto launched = launchedMembership(pid)) {
        return launched;
    }
    return flatpakMembership(pid);
}

std::optional<RunningApplication>
DesktopApplicationRegistry::runningApplication(std::int32_t pid) const {
    const auto member = membership(pid);
    if (!member) {
        return std::nullopt;
    }
    std::optional<DesktopEntry> entry;
    if (member->desktopFile) {
        entry = DesktopEntry::load(*member->desktopFile);
    }
    if (!entry) {
        if (const auto file =
                DesktopEntry::locate(member->applicationID, options_.dataDirectories)) {
            entry = DesktopEntry::load(*file);
        }
    }
    std::optional<std::string> name;
    auto policy = ActivationPolicy::regular;
    if (entry) {
        name = entry->localizedValue("Name", options_.locale.value_or(""));
        if (name && name->empty()) {
            name.reset();
        }
        if (entry->boolean("NoDisplay") || entry->boolean("Hidden")) {
            policy = ActivationPolicy::accessory;
        }
    }
    if (!member->isMainProcess) {
        policy = ActivationPolicy::prohibited;
    }
    return RunningApplication{pid, std::move(name), member->applicationID, policy};
}

bool DesktopApplicationRegistry::isTerminated(std::int32_t pid) const {
    const auto stat = readProcFile(pid, "stat");
    const auto fields = stat ? statFields(*stat) : std::nullopt;
    // Gone, or a zombie (Z) or dead (X) waiting to be reaped.
    return !fields || fields->empty() || fields->front() == 'Z' || fields->front() == 'X';
}

std::optional<std::string> DesktopApplicationRegistry::quittablePlayer(const SessionBus& bus,
                                                                       std::int32_t pid) const {
    constexpr std::string_view prefix = "org.mpris.MediaPlayer2.";
    for (const auto& name : bus.names()) {
        if (!name.starts_with(prefix)) {
            continue;
        }
        if (auto owner = bus.ownerOpenedBy(name, pid);
            owner && bus.booleanProperty(*owner, mediaPlayerPath, mediaPlayerInterface, "CanQuit")
                         .value_or(false)) {
            return owner;
        }
    }
    return std::nullopt;
}

std::optional<QuitRoute> DesktopApplicationRegistry::quitRoute(std::int32_t pid) const {
    const auto application = runningApplication(pid);
    if (!application || application->activationPolicy == ActivationPolicy::prohibited) {
        return std::nullopt;
    }
    const SessionBus bus(options_.sessionBusAddress, options_.busCallTimeout);
    if (quittablePlayer(bus, pid)) {
        return QuitRoute::mediaPlayer;
    }
    const auto& id = *application->bundleIdentifier;
    if (const auto owner = bus.ownerOpenedBy(id, pid)) {
        const auto offered = bus.actions(*owner, SessionBus::objectPath(id));
        if (offered && std::ranges::find(*offered, "quit") != offered->end()) {
            return QuitRoute::applicationAction;
        }
    }
    if (X11Windows::canRequestClose(options_.display, pid)) {
        return QuitRoute::windowClose;
    }
    return std::nullopt;
}

QuitRequestOutcome
DesktopApplicationRegistry::terminate(std::int32_t pid, QuitRoute route,
                                      const std::function<bool()>& confirmIdentity) {
    const auto application = runningApplication(pid);
    if (!application || application->activationPolicy == ActivationPolicy::prohibited) {
        return QuitRequestOutcome::noProvenRoute;
    }
    // Pinned, the pid cannot pass to another process while we prove who receives the request.
    const ProcessPin pin(pid);
    if (!pin.isHeld()) {
        return QuitRequestOutcome::exited;
    }
    if (!confirmIdentity()) {
        return QuitRequestOutcome::identityChanged;
    }
    if (route == QuitRoute::windowClose) {
        // The X server names each window's client process itself.
        return X11Windows::requestClose(options_.display, pid) > 0
                   ? QuitRequestOutcome::sent
                   : QuitRequestOutcome::noProvenRoute;
    }
    const SessionBus bus(options_.sessionBusAddress, options_.busCallTimeout);
    SessionBus::Outcome outcome = SessionBus::Outcome::unreachable;
    if (route == QuitRoute::mediaPlayer) {
        const auto player = quittablePlayer(bus, pid);
        if (!player || !pin.isAlive()) {
            return QuitRequestOutcome::noProvenRoute;
        }
        outcome = bus.send(*player, mediaPlayerPath, mediaPlayerInterface, "Quit");
    } else {
        const auto& id = *application->bundleIdentifier;
        const auto owner = bus.ownerOpenedBy(id, pid);
        if (!owner || !pin.isAlive()) {
            return QuitRequestOutcome::noProvenRoute;
        }
        outcome = bus.send(*owner, SessionBus::objectPath(id), applicationInterface,
                           "ActivateAction", [](sdbus::MethodCall& call) {
                               call << std::string("quit") << std::vector<sdbus::Variant>{}
                                    << std::map<std::string, sdbus::Variant>{};
                           });
    }
    switch (outcome) {
    case SessionBus::Outcome::accepted:
        return QuitRequestOutcome::sent;
    case SessionBus::Outcome::refused:
        return QuitRequestOutcome::refused;
    case SessionBus::Outcome::unreachable:
        break;
    }
    return QuitRequestOutcome::noProvenRoute;
}

bool DesktopApplicationRegistry::activate(std::int32_t pid) {
    const auto application = runningApplication(pid);
    if (!application || application->activationPolicy == ActivationPolicy::prohibited) {
        return false;
    }
    const auto& id = *application->bundleIdentifier;
    const SessionBus bus(options_.sessionBusAddress, options_.busCallTimeout);
    if (const auto owner = bus.ownerOpenedBy(id, pid)) {
        switch (bus.send(
            *owner, SessionBus::objectPath(id), applicationInterface, "Activate",
            [](sdbus::MethodCall& call) { call << std::map<std::string, sdbus::Variant>{}; })) {
        case SessionBus::Outcome::accepted:
            return true;
        case SessionBus::Outcome::refused:
            return false;
        case SessionBus::Outcome::unreachable:
            break;
        }
    }
    return X11Windows::activate(options_.display, pid);
}

std::optional<std::string> DesktopApplicationRegistry::ownBundleIdentifier() const {
    return options_.ownApplicationID;
}

} // namespace tovo
