#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovo {

/// How a process holds an open file.
enum class OpenAccess { read, write, readWrite, unknown };

/// The case name: "read", "write", "readWrite", "unknown".
std::string_view rawValue(OpenAccess access);
/// Exactly one of the four raw texts, else nothing.
std::optional<OpenAccess> openAccessFromRawValue(std::string_view raw);
/// lsof's access letter: "r", "w" or "u" exactly; anything else (or nothing) is unknown.
OpenAccess openAccessFromLsofValue(std::optional<std::string_view> letter);
std::string_view lsofValue(OpenAccess access);
bool canWrite(OpenAccess access);

/// One file a process holds open on the disk.
struct OpenFileReference {
    std::string path;
    std::optional<std::string> descriptor; ///< a number, or a name such as "cwd"
    std::optional<std::string> fileType;
    OpenAccess access;

    bool operator==(const OpenFileReference&) const = default;
    /// The current or root directory of the process.
    bool isDirectoryReference() const;
};

/// The graphical application a process belongs to.
struct ParentApplication {
    std::int32_t pid;
    std::string name;
    std::optional<std::string> bundleIdentifier;

    bool operator==(const ParentApplication&) const = default;
};

/// When a process started; tells a process from a later one reusing its pid.
struct ProcessStartTime {
    std::uint64_t seconds;
    std::uint64_t microseconds;

    bool operator==(const ProcessStartTime&) const = default;
};

/// A process that keeps the disk busy.
struct BlockingProcess {
    std::int32_t pid;
    std::optional<std::int32_t> parentPID;
    std::string command;
    std::optional<std::uint32_t> userID;
    std::optional<std::string> loginName;
    std::vector<OpenFileReference> openFiles;
    std::optional<std::string> executablePath;
    std::optional<ProcessStartTime> startTime;
    bool isSystemDissent;
    std::optional<ParentApplication> parentApplication;

    bool operator==(const BlockingProcess&) const = default;

    std::int32_t id() const { return pid; }
    bool hasWritableFiles() const;
    /// Unknown access on anything but the current or root directory.
    bool hasUnknownAccess() const;
    bool holdsCurrentFolder() const;
    std::optional<std::string> primaryPath() const;

    /// Still the same process: pid, user, command, parent, start time and
    /// executable all equal (absent equals only absent).
    bool hasSameIdentity(const BlockingProcess& other) const;
    /// A copy with the executable and start time replaced (absent clears them) and
    /// the parent application replaced only when one is given.
    BlockingProcess withExecutionIdentity(std::optional<std::string> executablePath,
                                          std::optional<ProcessStartTime> startTime,
                                          std::optional<ParentApplication> parentApplication) const;
    /// Combines two records of one process; the receiver's present facts win.
    BlockingProcess merging(const BlockingProcess& other) const;
};

} // namespace tovo

template<>
struct std::hash<tovo::OpenFileReference> {
    std::size_t operator()(const tovo::OpenFileReference& file) const noexcept;
};
template<>
struct std::hash<tovo::ParentApplication> {
    std::size_t operator()(const tovo::ParentApplication& application) const noexcept;
};
template<>
struct std::hash<tovo::ProcessStartTime> {
    std::size_t operator()(const tovo::ProcessStartTime& time) const noexcept;
};
template<>
struct std::hash<tovo::BlockingProcess> {
    std::size_t operator()(const tovo::BlockingProcess& process) const noexcept;
};
