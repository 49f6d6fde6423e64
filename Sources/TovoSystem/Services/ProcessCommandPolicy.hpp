#pragma once

#include <array>
#include <string>
#include <string_view>

namespace tovo {

/// Classifies a command text: shells, transfers, virtual machines and other
/// processes Tovo must not close for the user. Every test runs on the lower-cased
/// command; "contains" is a plain substring test.
struct ProcessCommandPolicy {
    static constexpr std::array<std::string_view, 13> protectedExecutables{
        "sh",   "bash",  "zsh",    "fish", "login",          "ssh",        "scp",
        "sftp", "rsync", "finder", "dock", "systemuiserver", "loginwindow"};
    static constexpr std::array<std::string_view, 6> shellExecutables{"sh",   "bash",  "zsh",
                                                                      "fish", "login", "ssh"};
    static constexpr std::array<std::string_view, 11> sensitiveFragments{
        "backup", "time machine", "sync", "virtualization", "virtualmachine", "virtual machine",
        "vmware", "parallels",    "qemu", "terminal",       "iterm"};
    /// Helpers whose files the desktop itself will close.
    static constexpr std::array<std::string_view, 4> systemHelperExecutables{
        "finder", "dock", "systemuiserver", "loginwindow"};

    /// The last non-empty "/"-separated piece of the lower-cased command, or the
    /// lower-cased command itself when there is none.
    static std::string executableName(std::string_view command);
    static bool isVirtualMachine(std::string_view command);
    /// "rsync" is covered by "sync"; both stay listed.
    static bool isTransfer(std::string_view command);
    static bool isShell(std::string_view command);
    static bool isSensitive(std::string_view command);
    static bool isSystemHelper(std::string_view command);
};

} // namespace tovo
