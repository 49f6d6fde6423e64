#include "TovoSystem/Services/KernelWriteOutMonitor.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoSystem/Linux/BoundedFile.hpp"
#include "TovoSystem/Linux/SysfsBlockDevices.hpp"
#include "TovoSystem/Linux/WriteOutStatistics.hpp"

#include <map>
#include <mutex>
#include <sys/sysmacros.h>

namespace tovo {

namespace {

constexpr std::size_t statisticsLimit = 64 * 1024;

std::optional<std::string> readSmall(const std::filesystem::path& path) {
    return BoundedFile::read(path, statisticsLimit);
}

std::chrono::nanoseconds steadyNow() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

} // namespace

struct KernelWriteOutMonitor::State {
    struct Reading {
        std::uint64_t sectorsWritten;
        std::chrono::nanoseconds at;
    };

    Roots roots;
    Now now;
    std::mutex mutex;
    std::map<std::string, Reading> previous; ///< by disk id

    std::optional<BlockWriteCounters> counters(const std::string& name) const {
        const auto folder = roots.sys / "class" / "block" / name;
        const auto stat = readSmall(folder / "stat");
        if (!stat) {
            return std::nullopt;
        }
        const auto inflight = readSmall(folder / "inflight");
        return WriteOutStatistics::blockCounters(
            *stat, inflight ? std::optional<std::string_view>(*inflight) : std::nullopt);
    }

    // The disk's own share where debugfs shows it: one writeback account per disk and
    // per device built on it (partitions share the disk's).
    std::optional<std::uint64_t> diskBytesLeft(const std::vector<BlockDevice>& family) const {
        std::optional<std::uint64_t> total;
        for (const auto& device : family) {
            const auto name =
                std::to_string(major(device.number)) + ":" + std::to_string(minor(device.number));
            const auto stats = readSmall(roots.debug / "bdi" / name / "stats");
            const auto bytes = stats ? WriteOutStatistics::deviceBytesLeft(*stats) : std::nullopt;
            if (!bytes) {
                if (&device == &family.front()) {
                    return std::nullopt;
                }
                continue;
            }
            total = total.value_or(0) + *bytes;
        }
        return total;
    }

    WriteOutSample sample(const ExternalDisk& disk) {
        WriteOutSample result{false, std::nullopt, WriteOutScope::system, std::nullopt};
        std::vector<BlockDevice> family;
        if (disk.wholeDiskIdentifier) {
            family = SysfsBlockDevices(roots.sys).family(*disk.wholeDiskIdentifier);
        }
        if (!family.empty()) {
            if (const auto current = counters(family.front().name)) {
                const auto at = now();
                std::lock_guard lock(mutex);
                const auto before = previous.find(disk.id);
                if (before != previous.end()) {
                    result.bytesPerSecond =
                        WriteOutStatistics::rate(before->second.sectorsWritten,
                                                 current->sectorsWritten, at - before->second.at);
                }
                result.isWriting = current->writesInFlight > 0 ||
                                   (before != previous.end() &&
                                    current->sectorsWritten > before->second.sectorsWritten);
                previous.insert_or_assign(disk.id, Reading{current->sectorsWritten, at});
            }
            if (const auto left = diskBytesLeft(family)) {
                result.bytesLeft = left;
                result.scope = WriteOutScope::disk;
                // Data waiting for this disk: the block layer may hold it back (a
                // throttle, a full queue) while nothing is in flight.
                result.isWriting = result.isWriting || *left > 0;
                return result;
            }
        }
        if (const auto meminfo = readSmall(roots.proc / "meminfo")) {
            result.bytesLeft = WriteOutStatistics::systemBytesLeft(*meminfo);
        }
        return result;
    }
};

KernelWriteOutMonitor::KernelWriteOutMonitor(Executor& executor, Roots roots, Now now)
    : executor_(executor)
    , state_(std::make_shared<State>()) {
    state_->roots = std::move(roots);
    state_->now = now ? std::move(now) : Now(steadyNow);
}

Task<WriteOutSample> KernelWriteOutMonitor::sample(ExternalDisk disk) {
    // Named, so that GCC 12 keeps the work and its captures alive across the suspension.
    auto work = [state = state_, disk = std::move(disk)] { return state->sample(disk); };
    auto background = runInBackground(executor_, std::move(work));
    co_return co_await std::move(background);
}

WriteOutSample KernelWriteOutMonitor::sampleNow(const ExternalDisk& disk) const {
    return state_->sample(disk);
}

} // namespace tovo
