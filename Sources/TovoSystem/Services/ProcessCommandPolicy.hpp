#pragma once

#include "TovoSystem/Services/ProgramRoles.hpp"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// Classifies a process by its command and, when known, its executable: shells,
/// terminals, transfers, virtual machines, the desktop's own helpers and other
/// processes Tovo must not close for the user. Programs are known by name from
/// `ProgramRoles`; besides, the lower-cased command is searched for fragments that
/// give a program's part away ("contains" is a plain substring test).
struct ProcessCommandPolicy {
    static constexpr std::array<std::string_view, 9> sensitiveFragments{
        "backup", "sync",      "virtualization", "virtualmachine", "virtual machine",
        "vmware", "parallels", "qemu",           "terminal"};

    /// The last non-empty "/"-separated piece of the lower-cased command, or the
    /// lower-cased command itself when there is none.
    static std::string executableName(std::string_view command);

    static bool isVirtualMachine(std::string_view command,
                                 const std::optional<std::string>& executablePath = std::nullopt);
    static bool isTransfer(std::string_view command,
                           const std::optional<std::string>& executablePath = std::nullopt);
    /// A shell, a terminal multiplexer or a terminal window.
    static bool isShell(std::string_view command,
                        const std::optional<std::string>& executablePath = std::nullopt);
    static bool isSensitive(std::string_view command,
                            const std::optional<std::string>& executablePath = std::nullopt);
    /// A file manager, a file indexer or a piece of the desktop: the system closes its
    /// files when the disk goes, and Tovo never closes it.
    static bool isSystemHelper(std::string_view command,
                               const std::optional<std::string>& executablePath = std::nullopt);
    static bool isFileIndexer(std::string_view command,
                              const std::optional<std::string>& executablePath = std::nullopt);
};

} // namespace tovo
