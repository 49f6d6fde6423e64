#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/Logger.hpp"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// The journal's account of one write-out, the unmount, lock and power-off that flush
/// a disk: when it started, how much was written to the disk, how long it took and how
/// it ended. Made on a worker thread; each line is handed to `logger` on `executor`,
/// where the workflow writes its own.
class WriteOutJournal {
public:
    /// `logger` may be null: then nothing is recorded.
    WriteOutJournal(Logger* logger, Executor& executor, std::filesystem::path sysRoot,
                    std::string disk);

    /// The first call records the start and the disk's write counter.
    void start();
    /// Reads the counter again while the disk is still there (it goes at power-off).
    void observe();
    /// Records the end; `outcome` is "ok", "failed" or "cancelled". Once only.
    void end(std::string_view outcome);

private:
    std::optional<std::uint64_t> sectorsWritten() const;
    void log(std::string line) const;

    Logger* logger_;
    Executor& executor_;
    std::filesystem::path sysRoot_;
    std::string disk_;
    std::optional<std::chrono::steady_clock::time_point> startedAt_;
    std::optional<std::uint64_t> firstSectors_;
    std::optional<std::uint64_t> lastSectors_;
    bool ended_ = false;
};

} // namespace tovo
