#include "TovoSystem/Services/ProgramRoles.hpp"

#include <algorithm>
#include <array>

namespace tovo {

namespace {

struct Entry {
    std::string_view name; ///< lower case; a trailing '*' matches any rest
    ProgramRole role;
};

using enum ProgramRole;

// One line per program. Names are the executables' file names as Debian installs them.
constexpr std::array table{
    // File indexers read every file of a mounted disk for a while, then let go on their own.
    Entry{"localsearch-3", fileIndexer}, Entry{"localsearch-extractor-3", fileIndexer},
    Entry{"tracker-miner-fs-3", fileIndexer}, Entry{"tracker-extract-3", fileIndexer},
    Entry{"tracker-miner-fs", fileIndexer}, Entry{"tracker-extract", fileIndexer},
    Entry{"baloo_file", fileIndexer}, Entry{"baloo_file_extractor", fileIndexer},

    // File managers and the desktop's own helpers: the desktop closes what they hold when
    // the disk goes, and stopping one takes the desktop (or the whole session) with it.
    Entry{"nautilus", desktopHelper}, Entry{"nemo", desktopHelper}, Entry{"caja", desktopHelper},
    Entry{"thunar", desktopHelper}, Entry{"dolphin", desktopHelper},
    Entry{"pcmanfm", desktopHelper}, Entry{"pcmanfm-qt", desktopHelper},
    Entry{"spacefm", desktopHelper}, Entry{"gnome-shell", desktopHelper},
    Entry{"plasmashell", desktopHelper}, Entry{"kded5", desktopHelper},
    Entry{"kded6", desktopHelper}, Entry{"xdg-desktop-portal", desktopHelper},
    Entry{"xdg-desktop-portal-*", desktopHelper}, Entry{"gvfsd", desktopHelper},
    Entry{"gvfsd-*", desktopHelper}, Entry{"gvfs-udisks2-volume-monitor", desktopHelper},
    Entry{"gsd-*", desktopHelper},

    // Terminals: their shells hold working folders; closing one ends every shell in it.
    Entry{"gnome-terminal-server", terminal}, Entry{"kgx", terminal}, Entry{"ptyxis", terminal},
    Entry{"konsole", terminal}, Entry{"yakuake", terminal}, Entry{"xfce4-terminal", terminal},
    Entry{"mate-terminal", terminal}, Entry{"lxterminal", terminal}, Entry{"qterminal", terminal},
    Entry{"tilix", terminal}, Entry{"terminator", terminal}, Entry{"guake", terminal},
    Entry{"kitty", terminal}, Entry{"alacritty", terminal}, Entry{"foot", terminal},
    Entry{"wezterm-gui", terminal}, Entry{"xterm", terminal}, Entry{"urxvt", terminal},
    Entry{"st", terminal},

    // Shells, and multiplexers whose server keeps its working folder: the user's session.
    Entry{"sh", shell}, Entry{"bash", shell}, Entry{"zsh", shell}, Entry{"fish", shell},
    Entry{"login", shell}, Entry{"ssh", shell}, Entry{"dash", shell}, Entry{"ksh", shell},
    Entry{"mksh", shell}, Entry{"tcsh", shell}, Entry{"csh", shell}, Entry{"nu", shell},
    Entry{"xonsh", shell}, Entry{"elvish", shell}, Entry{"tmux", shell}, Entry{"screen", shell},

    // Remote copies the user started by hand: only the user knows whether they may end.
    Entry{"scp", remoteSession}, Entry{"sftp", remoteSession},

    // Copy, transfer and backup tools: stopping one mid-copy leaves a broken file.
    Entry{"rsync", transfer}, Entry{"cp", transfer}, Entry{"mv", transfer}, Entry{"dd", transfer},
    Entry{"tar", transfer}, Entry{"pv", transfer}, Entry{"ddrescue", transfer},
    Entry{"deja-dup", transfer}, Entry{"duplicity", transfer}, Entry{"borg", transfer},
    Entry{"restic", transfer}, Entry{"timeshift", transfer}, Entry{"backintime", transfer},
    Entry{"rclone", transfer}, Entry{"syncthing", transfer}, Entry{"unison", transfer},
    Entry{"rdiff-backup", transfer}, Entry{"kup", transfer},

    // Virtual machines keep whole disk images open and lose state when stopped.
    Entry{"qemu-system-*", virtualMachine}, Entry{"virtualboxvm", virtualMachine},
    Entry{"vboxheadless", virtualMachine}, Entry{"virtualbox", virtualMachine},
    Entry{"vmware-vmx", virtualMachine}, Entry{"gnome-boxes", virtualMachine},
    Entry{"crosvm", virtualMachine}, Entry{"cloud-hypervisor", virtualMachine}};

// The kernel keeps 15 bytes of a command name.
constexpr std::size_t kernelNameLength = 15;

std::string lowercased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    return result;
}

bool matches(std::string_view pattern, std::string_view name, bool mayBeCut) {
    if (pattern.ends_with('*')) {
        const auto prefix = pattern.substr(0, pattern.size() - 1);
        // A cut name that ends inside the prefix still begins it.
        return name.starts_with(prefix) ||
               (mayBeCut && name.size() < prefix.size() && prefix.starts_with(name));
    }
    return name == pattern ||
           (mayBeCut && name.size() < pattern.size() && pattern.starts_with(name));
}

std::string_view fileName(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.remove_suffix(1);
    }
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

} // namespace

std::optional<ProgramRole> ProgramRoles::ofName(std::string_view name, bool mayBeCut) {
    const auto lower = lowercased(name);
    for (const auto& entry : table) {
        if (matches(entry.name, lower, mayBeCut)) {
            return entry.role;
        }
    }
    return std::nullopt;
}

std::optional<ProgramRole> ProgramRoles::of(std::string_view command,
                                            const std::optional<std::string>& executablePath) {
    if (executablePath) {
        // The kernel appends " (deleted)" to an executable replaced while it runs.
        std::string_view path = *executablePath;
        constexpr std::string_view deleted = " (deleted)";
        if (path.ends_with(deleted)) {
            path.remove_suffix(deleted.size());
        }
        if (auto role = ofName(fileName(path))) {
            return role;
        }
    }
    const auto name = fileName(command);
    return ofName(name, name.size() == kernelNameLength);
}

} // namespace tovo
