#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// The part a program plays on a Linux desktop, where it decides what Tovo may do.
enum class ProgramRole {
    fileIndexer,   ///< indexes files in the background; named "File Indexer"
    desktopHelper, ///< a file manager or a piece of the desktop: the desktop closes its files
    terminal,      ///< a terminal window: closing it ends the shells in it
    shell,         ///< a shell or a terminal multiplexer holding its working folder
    remoteSession, ///< a remote shell or copy the user started by hand
    transfer,      ///< copies, backs up or syncs: stopping one mid-copy leaves a broken file
    virtualMachine ///< runs a virtual machine; named "Virtual Machine"
};

/// The Linux programs behind each role, in one table.
struct ProgramRoles {
    /// The role of a process: by its executable's file name when known (the command
    /// may be a script's name, or cut by the kernel), else by its command. A command of
    /// 15 bytes may be cut: it matches every longer name it begins.
    static std::optional<ProgramRole> of(std::string_view command,
                                         const std::optional<std::string>& executablePath);
    /// The role of one program name (case-insensitive); `mayBeCut` for kernel names.
    static std::optional<ProgramRole> ofName(std::string_view name, bool mayBeCut = false);
};

} // namespace tovo
