#include "TovoSystem/Services/KernelWriteOutMonitor.hpp"

#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using std::chrono::seconds;
constexpr std::uint64_t MiB = 1024 * 1024;

// A block device's stat line: reads, then writes (sectors in the seventh field), then
// the in-flight count, then the rest.
std::string statLine(std::uint64_t sectorsWritten, std::uint64_t inFlight) {
    return "  48071 0 1678468 9328 5135 18861 " + std::to_string(sectorsWritten) + " 6333 " +
           std::to_string(inFlight) + " 11856 20826 291 0 15237402 154 2851 5010\n";
}

std::string bdiStats(std::uint64_t reclaimableKB, std::uint64_t writebackKB) {
    return "BdiWriteback:       " + std::to_string(writebackKB) +
           " kB\nBdiReclaimable:     " + std::to_string(reclaimableKB) +
           " kB\nBdiDirtyThresh:   560524 kB\nBdiWritten:   83936 kB\n";
}

const std::string usualMeminfo = "Dirty:  2048 kB\nWriteback:  1024 kB\nWritebackTmp:  9 kB\n";

WriteOutSample sample(bool writing, std::optional<std::uint64_t> rate = std::nullopt,
                      std::optional<std::uint64_t> pending = 3 * MiB,
                      WriteOutScope scope = WriteOutScope::system) {
    return {writing, pending, scope, rate};
}

struct ProgressCase {
    const char* label;
    WriteOutSample expected;
    std::optional<std::uint64_t> sectorsBefore = std::nullopt; ///< a sample taken 2 s earlier
    std::optional<std::uint64_t> sectorsNow = 1000;            ///< none: the disk is gone
    std::uint64_t statInFlight = 0;
    std::optional<std::string> inflight = "0 0\n"; ///< the "inflight" file; some kernels lack it
    std::optional<std::string> diskBdi = std::nullopt;   ///< debugfs, readable only by root
    std::optional<std::string> holderBdi = std::nullopt; ///< of dm-0, on the first partition
    std::string meminfo = usualMeminfo;
};

constexpr auto none = std::nullopt;

TEST(KernelWriteOutMonitorTest, SamplesWhatTheKernelSays) {
    const std::vector<ProgressCase> rows{
        {"firstSampleWithWritesInFlight", sample(true), none, 1000, 4, "2 3\n"},
        // 20480 sectors in 2 s: 10 MiB in 2 s.
        {"rateFromTwoSamples", sample(true, 5 * MiB), 1000, 21480},
        {"counterWentBack", sample(false), 5000},
        {"statInFlightWithoutInflightFile", sample(true), none, 1000, 2, none},
        // The disk's own account and the one of the encrypted volume built on it.
        {"diskAndHolderFromDebugfs", sample(true, none, 6 * MiB, WriteOutScope::disk), none, 1000,
         0, "0 0\n", bdiStats(4096, 1024), bdiStats(1024, 0)},
        {"nothingLeftForTheDisk", sample(false, none, 0, WriteOutScope::disk), none, 1000, 0,
         "0 0\n", bdiStats(0, 0)},
        {"holderAloneIsNotTheDisk", sample(false), none, 1000, 0, "0 0\n", none, bdiStats(1024, 0)},
        {"diskGone", sample(false), 1000, none, 0, none},
        {"meminfoWithoutWriteback", sample(false, none, none), none, 1000, 0, "0 0\n", none, none,
         "Dirty: 2048 kB\n"}};
    for (const auto& c : rows) {
        SCOPED_TRACE(c.label);
        testing::TemporaryFolder root;
        const auto write = [&](const std::string& file, const std::optional<std::string>& text) {
            text ? testing::writeText(root.path() / file, *text) : void();
        };
        const std::string block = "sys/class/block/";
        write(block + "sdz/dev", "8:16\n");
        write(block + "sdz/sdz1/partition", "1\n");
        write(block + "sdz1/dev", "8:17\n");
        write(block + "sdz1/holders/dm-0/.keep", "");
        write(block + "dm-0/dev", "253:0\n");
        write("proc/meminfo", c.meminfo);
        write("debug/bdi/8:16/stats", c.diskBdi);
        write("debug/bdi/253:0/stats", c.holderBdi);
        write(block + "sdz/inflight", c.inflight);

        std::chrono::nanoseconds now{seconds(100)};
        ManualExecutor executor;
        KernelWriteOutMonitor monitor(
            executor, {root.path() / "sys", root.path() / "proc", root.path() / "debug"},
            [&now] { return now; });
        ExternalDisk disk{"attachment:7", "Backup", {}, {}, 7, "sdz", {}, {}};
        if (c.sectorsBefore) {
            write(block + "sdz/stat", statLine(*c.sectorsBefore, 0));
            monitor.sampleNow(disk);
            now += seconds(2);
        }
        if (c.sectorsNow) {
            write(block + "sdz/stat", statLine(*c.sectorsNow, c.statInFlight));
        } else {
            std::filesystem::remove_all(root.path() / block / "sdz");
        }
        EXPECT_EQ(monitor.sampleNow(disk), c.expected);
    }
}

} // namespace
} // namespace tovo
