#include "TovoSystem/Services/WriteOutJournal.hpp"

#include "TovoSystem/Linux/BoundedFile.hpp"
#include "TovoSystem/Linux/WriteOutStatistics.hpp"

#include <cstdio>

namespace tovo {

WriteOutJournal::WriteOutJournal(Logger* logger, Executor& executor, std::filesystem::path sysRoot,
                                 std::string disk)
    : logger_(logger)
    , executor_(executor)
    , sysRoot_(std::move(sysRoot))
    , disk_(std::move(disk)) {}

void WriteOutJournal::start() {
    if (logger_ == nullptr || startedAt_) {
        return;
    }
    startedAt_ = std::chrono::steady_clock::now();
    firstSectors_ = sectorsWritten();
    lastSectors_ = firstSectors_;
    log("Write-out started disk=" + disk_);
}

void WriteOutJournal::observe() {
    if (!startedAt_) {
        return;
    }
    if (const auto sectors = sectorsWritten()) {
        lastSectors_ = sectors;
    }
}

void WriteOutJournal::end(std::string_view outcome) {
    if (!startedAt_ || ended_) {
        return;
    }
    ended_ = true;
    observe();
    const auto elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - *startedAt_);
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f", elapsed.count());
    // A counter that went back belongs to another device under the same name.
    const bool known = firstSectors_ && lastSectors_ && *lastSectors_ >= *firstSectors_;
    const std::string written =
        known ? std::to_string((*lastSectors_ - *firstSectors_) * 512) : std::string("unknown");
    log("Write-out ended disk=" + disk_ + " written=" + written + " duration=" + seconds +
        "s result=" + std::string(outcome));
}

std::optional<std::uint64_t> WriteOutJournal::sectorsWritten() const {
    const auto folder = sysRoot_ / "class" / "block" / disk_;
    const auto stat = BoundedFile::read(folder / "stat", 4096);
    const auto counters =
        stat ? WriteOutStatistics::blockCounters(*stat, std::nullopt) : std::nullopt;
    return counters ? std::optional(counters->sectorsWritten) : std::nullopt;
}

void WriteOutJournal::log(std::string line) const {
    executor_.post([logger = logger_, line = std::move(line)] { logger->info(line); });
}

} // namespace tovo
