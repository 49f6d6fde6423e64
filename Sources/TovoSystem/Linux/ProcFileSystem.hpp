#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// Reads process facts from the kernel's process table under `root` (/proc in
/// production, a fixture folder in tests). Anything unreadable, hidden or gone is
/// simply absent.
class ProcFileSystem {
public:
    /// The facts of /proc/<pid>/stat that Tovo needs.
    struct Stat {
        std::int32_t parentPID;
        std::uint64_t startTicks; ///< clock ticks after boot
        char state;               ///< R, S, D, T, Z (exited, not yet reaped), X (dead), ...
        bool operator==(const Stat&) const = default;

        /// An exited process whose parent has not reaped it yet: it holds nothing and
        /// cannot be asked anything, so it counts as gone.
        bool hasExited() const { return state == 'Z' || state == 'X'; }
    };

    ProcFileSystem();
    ProcFileSystem(std::filesystem::path root, long clockTicksPerSecond);

    std::optional<Stat> stat(std::int32_t pid) const;
    /// The real user id: the first number of the "Uid:" line of /proc/<pid>/status.
    std::optional<std::uint32_t> realUserID(std::int32_t pid) const;
    /// Seconds since the epoch at boot: "btime" of /proc/stat.
    std::optional<std::uint64_t> bootTime() const;
    /// Boot time plus `startTicks`, as seconds and microseconds.
    std::optional<ProcessStartTime> startTime(std::uint64_t startTicks) const;
    /// The same with a boot time read before.
    std::optional<ProcessStartTime> startTime(std::uint64_t startTicks,
                                              std::uint64_t bootTime) const;
    /// /proc/<pid>/comm as raw bytes without its final line feed; none when empty.
    std::optional<std::string> commandName(std::int32_t pid) const;
    /// The target of /proc/<pid>/exe.
    std::optional<std::string> executablePath(std::int32_t pid) const;

    // The pure parsers behind the readers.
    static std::optional<Stat> parseStat(std::string_view text);
    static std::optional<std::uint32_t> parseRealUserID(std::string_view status);
    static std::optional<std::uint64_t> parseBootTime(std::string_view stat);

private:
    std::filesystem::path processFile(std::int32_t pid, const char* name) const;

    std::filesystem::path root_;
    long clockTicksPerSecond_;
};

} // namespace tovo
