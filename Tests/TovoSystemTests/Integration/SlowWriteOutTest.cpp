// A slow USB stick made of a loop disk whose writes the block layer throttles: the
// real udisksd must be given all the time the kernel needs to write out the cache.

#include "Support/ModelBuilders.hpp"
#include "Support/RecordingLogger.hpp"
#include "TovoSystem/Services/KernelWriteOutMonitor.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <regex>

namespace tovo {
namespace {

using namespace tovo::testing;
using namespace std::chrono_literals;

constexpr std::uint64_t MiB = 1024 * 1024;
constexpr std::uint64_t written = 256 * MiB;
constexpr std::uint64_t bytesPerSecond = 8 * MiB;

bool writeFile(const std::filesystem::path& file, const std::string& text) {
    std::ofstream stream(file);
    stream << text << std::flush;
    return static_cast<bool>(stream);
}

/// Throttles writes to one block device for as long as it lives. Under cgroup v2 the
/// limit belongs to a group of our own that the writer joins: page-cache write-back is
/// charged to the writer's group there. Under v1 write-back is charged to the root group,
/// so the limit goes there, for this one device only.
class WriteThrottle {
public:
    WriteThrottle(const std::string& device, std::uint64_t limit)
        : device_(device) {
        const std::filesystem::path unified = "/sys/fs/cgroup";
        const std::filesystem::path v1 = "/sys/fs/cgroup/blkio/blkio.throttle.write_bps_device";
        if (readText(unified / "cgroup.controllers").value_or("").find("io") != std::string::npos) {
            group_ = unified / ("tovo-writeout-" + std::to_string(::getpid()));
            std::filesystem::create_directory(group_);
            writeFile(unified / "cgroup.subtree_control", "+io");
            if (writeFile(group_ / "io.max", device + " wbps=" + std::to_string(limit))) {
                join_ = "echo $$ > " + (group_ / "cgroup.procs").string() + " && ";
            }
        } else if (std::filesystem::exists(v1) &&
                   writeFile(v1, device + " " + std::to_string(limit))) {
            rule_ = v1;
        }
    }
    ~WriteThrottle() { lift(); }
    WriteThrottle(const WriteThrottle&) = delete;
    WriteThrottle& operator=(const WriteThrottle&) = delete;

    bool isActive() const { return !rule_.empty() || !join_.empty(); }
    /// A shell command's prefix that puts the command under the limit.
    const std::string& join() const { return join_; }

    void lift() {
        if (!rule_.empty()) {
            writeFile(rule_, device_ + " 0");
            rule_.clear();
        }
        if (!group_.empty()) {
            writeFile(group_ / "io.max", device_ + " wbps=max");
            std::error_code ignored;
            std::filesystem::remove(group_, ignored); // empty once the writer has exited
            group_.clear();
        }
    }

private:
    std::string device_;
    std::filesystem::path group_;
    std::filesystem::path rule_;
    std::string join_;
};

using SlowWriteOutTest = RealUdisksTest;

TEST_F(SlowWriteOutTest, EjectWaitsForTheWholeWriteOutAndShowsItFallToZero) {
    LoopDisk disk(folder_.path(), "slow");
    // Room for the data; the disk reads and writes its image directly, so what is
    // written to the disk is not cached a second time for the image.
    shell("truncate -s 600M '" + (folder_.path() / "slow.img").string() + "' && losetup -c " +
          disk.device() + " && losetup --direct-io=on " + disk.device());
    shell("mkfs.ext4 -q -F -E lazy_itable_init=0,lazy_journal_init=0 -L SLOW " + disk.device());
    const auto mountPoint = udisks_->mount(disk, disk.device(), folder_.path() / "SLOW");

    const auto number = readText("/sys/class/block/" + disk.kernelName() + "/dev").value_or("");
    WriteThrottle throttle(number.substr(0, number.find('\n')), bytesPerSecond);
    if (!throttle.isActive()) {
        GTEST_SKIP() << "this machine has no block write throttling";
    }
    // debugfs of our own, for the disk's own writeback account.
    const MountAt debugfs(folder_.path() / "debug", "debugfs", nullptr);
    // Written to the cache at once; the disk takes about half a minute to receive it.
    shell(throttle.join() + "head -c " + std::to_string(written) + " /dev/urandom > '" +
          (mountPoint / "data.bin").string() + "'");

    ManualExecutor executor;
    RecordingLogger logger;
    KernelWriteOutMonitor monitor(executor, {"/sys", "/proc", debugfs.path()});
    auto listed = makeDisk(disk.diskSequence(), "SLOW");
    listed.wholeDiskIdentifier = disk.kernelName();
    listed.volumes.clear();
    UDisks2Unmounter unmounter(executor, udisks_->bus.address(), 10s, "/sys", &logger);
    monitor.sampleNow(listed); // the first reading of the rate, as the window takes it
    const auto started = std::chrono::steady_clock::now();
    StartedTask<void> eject(executor, unmounter.unmountAndEject(disk.proved({mountPoint})));
    std::vector<WriteOutSample> samples;
    while (!eject.isDone()) {
        executor.runUntil([&] { return eject.isDone(); }, 1s);
        if (!eject.isDone()) {
            samples.push_back(runToEnd(executor, monitor.sample(listed)));
        }
    }
    const auto elapsed = std::chrono::steady_clock::now() - started;
    const auto after = monitor.sampleNow(listed);
    throttle.lift();

    ASSERT_FALSE(eject.error()) << readableMessage(eject.error());
    EXPECT_GT(elapsed, 25s) << "the throttle did not slow the write-out";
    EXPECT_FALSE(isMounted(mountPoint));

    // Writing all along, with less and less left; the last ones may see the end.
    ASSERT_GE(samples.size(), 20u);
    EXPECT_TRUE(std::all_of(samples.begin(), samples.end() - 2,
                            [](const auto& sample) { return sample.isWriting; }));
    ASSERT_GE(samples.front().bytesLeft.value_or(0), written / 2);
    // The system's totals, used without debugfs, hold other programs' data too.
    for (const auto& last : {samples.back(), after}) {
        EXPECT_LT(last.bytesLeft.value_or(written), *samples.front().bytesLeft - written / 4);
    }

    // The journal has the account of the write-out.
    EXPECT_TRUE(logger.contains(LogLevel::info, "Write-out started disk=" + disk.kernelName()));
    const std::regex ended("Write-out ended disk=" + disk.kernelName() +
                           " written=([0-9]+) duration=[0-9.]+s result=ok");
    std::smatch match;
    const auto messages = logger.messages();
    ASSERT_TRUE(std::ranges::any_of(messages, [&](const auto& line) {
        return std::regex_match(line, match, ended);
    })) << ::testing::PrintToString(messages);
    EXPECT_GE(std::stoull(match[1]), written);
}

} // namespace
} // namespace tovo
