#include "TovoSystem/Services/KernelWriteOutMonitor.hpp"

#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace tovo {
namespace {

using std::chrono::seconds;
constexpr std::uint64_t MiB = 1024 * 1024;

void write(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

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

const std::string meminfo = "MemTotal:       24000000 kB\nDirty:              2048 kB\n"
                            "Writeback:          1024 kB\nWritebackTmp:          9 kB\n";

struct ProgressCase {
    const char* label;
    std::optional<std::uint64_t> sectorsBefore; ///< a sample taken `elapsed` earlier
    std::optional<std::uint64_t> sectorsNow;    ///< none: the disk is gone
    std::uint64_t statInFlight;
    std::optional<std::string> inflight;  ///< the "inflight" file; some kernels lack it
    std::optional<std::string> diskBdi;   ///< debugfs, readable only by root
    std::optional<std::string> holderBdi; ///< of dm-0, built on the first partition
    std::string meminfo;
    WriteOutSample expected;
};

class KernelWriteOutMonitorTest : public ::testing::TestWithParam<ProgressCase> {};

TEST_P(KernelWriteOutMonitorTest, SamplesWhatTheKernelSays) {
    const auto& param = GetParam();
    testing::TemporaryFolder root;
    const auto block = root.path() / "sys/class/block";
    write(block / "sdz/dev", "8:16\n");
    write(block / "sdz/sdz1/partition", "1\n");
    write(block / "sdz1/dev", "8:17\n");
    std::filesystem::create_directories(block / "sdz1/holders/dm-0");
    write(block / "dm-0/dev", "253:0\n");
    write(root.path() / "proc/meminfo", param.meminfo);
    if (param.diskBdi) {
        write(root.path() / "debug/bdi/8:16/stats", *param.diskBdi);
    }
    if (param.holderBdi) {
        write(root.path() / "debug/bdi/253:0/stats", *param.holderBdi);
    }
    if (param.inflight) {
        write(block / "sdz/inflight", *param.inflight);
    }

    std::chrono::nanoseconds now{seconds(100)};
    ManualExecutor executor;
    KernelWriteOutMonitor monitor(
        executor, {root.path() / "sys", root.path() / "proc", root.path() / "debug"},
        [&now] { return now; });
    ExternalDisk disk{"attachment:7", "Backup", {}, {}, 7, "sdz", {}, {}};
    if (param.sectorsBefore) {
        write(block / "sdz/stat", statLine(*param.sectorsBefore, 0));
        monitor.sampleNow(disk);
        now += seconds(2);
    }
    if (param.sectorsNow) {
        write(block / "sdz/stat", statLine(*param.sectorsNow, param.statInFlight));
    } else {
        std::filesystem::remove_all(block / "sdz");
    }
    EXPECT_EQ(monitor.sampleNow(disk), param.expected);
}

const auto nothingWritten = "0 0\n";

INSTANTIATE_TEST_SUITE_P(
    Statistics, KernelWriteOutMonitorTest,
    ::testing::Values(
        ProgressCase{"firstSampleIdle", std::nullopt, 1000, 0, nothingWritten, std::nullopt,
                     std::nullopt, meminfo,
                     WriteOutSample{false, 3 * MiB, WriteOutScope::system, std::nullopt}},
        ProgressCase{"firstSampleWithWritesInFlight", std::nullopt, 1000, 4, "2 3\n", std::nullopt,
                     std::nullopt, meminfo,
                     WriteOutSample{true, 3 * MiB, WriteOutScope::system, std::nullopt}},
        ProgressCase{"readsInFlightAreNotWrites", std::nullopt, 1000, 4, "4 0\n", std::nullopt,
                     std::nullopt, meminfo,
                     WriteOutSample{false, 3 * MiB, WriteOutScope::system, std::nullopt}},
        // 20480 sectors in 2 s: 10 MiB in 2 s.
        ProgressCase{"rateFromTwoSamples", 1000, 21480, 0, nothingWritten, std::nullopt,
                     std::nullopt, meminfo,
                     WriteOutSample{true, 3 * MiB, WriteOutScope::system, 5 * MiB}},
        ProgressCase{"nothingWrittenSince", 1000, 1000, 0, nothingWritten, std::nullopt,
                     std::nullopt, meminfo,
                     WriteOutSample{false, 3 * MiB, WriteOutScope::system, 0}},
        ProgressCase{"counterWentBack", 5000, 1000, 0, nothingWritten, std::nullopt, std::nullopt,
                     meminfo, WriteOutSample{false, 3 * MiB, WriteOutScope::system, std::nullopt}},
        ProgressCase{"statInFlightWithoutInflightFile", std::nullopt, 1000, 2, std::nullopt,
                     std::nullopt, std::nullopt, meminfo,
                     WriteOutSample{true, 3 * MiB, WriteOutScope::system, std::nullopt}},
        // The disk's own account and the one of the encrypted volume built on it.
        ProgressCase{"diskAndHolderFromDebugfs", std::nullopt, 1000, 0, nothingWritten,
                     bdiStats(4096, 1024), bdiStats(1024, 0), meminfo,
                     WriteOutSample{true, 6 * MiB, WriteOutScope::disk, std::nullopt}},
        ProgressCase{"nothingLeftForTheDisk", std::nullopt, 1000, 0, nothingWritten, bdiStats(0, 0),
                     std::nullopt, meminfo,
                     WriteOutSample{false, 0, WriteOutScope::disk, std::nullopt}},
        ProgressCase{"holderAloneIsNotTheDisk", std::nullopt, 1000, 0, nothingWritten, std::nullopt,
                     bdiStats(1024, 0), meminfo,
                     WriteOutSample{false, 3 * MiB, WriteOutScope::system, std::nullopt}},
        ProgressCase{"diskGone", 1000, std::nullopt, 0, std::nullopt, std::nullopt, std::nullopt,
                     meminfo, WriteOutSample{false, 3 * MiB, WriteOutScope::system, std::nullopt}},
        ProgressCase{"meminfoWithoutWriteback", std::nullopt, 1000, 0, nothingWritten, std::nullopt,
                     std::nullopt, "Dirty: 2048 kB\n",
                     WriteOutSample{false, std::nullopt, WriteOutScope::system, std::nullopt}}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo
