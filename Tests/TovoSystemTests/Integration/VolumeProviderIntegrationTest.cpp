#include "TovoSystem/Linux/MountChangeMonitor.hpp"
#include "TovoSystem/Linux/MountDevice.hpp"
#include "TovoSystem/Linux/UdevDeviceTree.hpp"
#include "TovoSystem/Services/DiskIdentityResolver.hpp"
#include "TovoSystem/Services/DiskIdentityWalk.hpp"
#include "TovoSystem/Services/SystemVolumeProvider.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <poll.h>

namespace tovo {
namespace {

using namespace tovo::testing;
using namespace std::chrono_literals;

std::optional<MountEntry> mountAt(const std::filesystem::path& mountPoint) {
    std::optional<MountEntry> last;
    for (auto& entry : MountInfo::read("/proc/self/mountinfo")) {
        if (entry.mountPoint == mountPoint.string()) {
            last = std::move(entry);
        }
    }
    return last;
}

/// "/dev/<name>" of the device a mount sits on; readable when a check fails.
std::optional<std::string> devicePath(const std::optional<DeviceNode>& node) {
    return node ? std::optional("/dev/" + node->kernelName) : std::nullopt;
}

// The real mount resolution and provider with systemd-udevd running, over real
// loop images.
class VolumeProviderIntegrationTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isRoot()) {
            GTEST_SKIP() << "needs root for loop devices and mounts";
        }
        udev.emplace();
    }

    TemporaryFolder folder;
    std::optional<UdevDaemon> udev;
    UdevDeviceTree tree;
};

TEST_F(VolumeProviderIntegrationTest, AMountSitsOnItsDeviceNumberNotOnItsSourceText) {
    LoopDisk disk(folder.path(), "image");
    disk.partitionInTwo();
    const auto partition = disk.device() + "p2";
    udev->keepRunningAndSettle();
    const auto mountPoint = disk.mount(partition, folder.path() / "image mount");
    // A tmpfs whose source text names the partition.
    const auto forgedPoint = disk.mount("-t tmpfs " + partition, folder.path() / "forged");

    const auto device = MountDevice::blockDevice(mountAt(mountPoint).value(), tree);
    ASSERT_EQ(devicePath(device), partition);
    const auto forged = mountAt(forgedPoint);
    ASSERT_TRUE(forged && forged->source == partition);
    EXPECT_EQ(devicePath(MountDevice::blockDevice(*forged, tree)), std::nullopt);

    const auto resolved = DiskIdentityResolver(tree).resolve(*device);
    EXPECT_EQ(resolved.fileSystemUUID(), shell("blkid -s UUID -o value " + partition));
    EXPECT_TRUE(resolved.resolved.isVirtual) << "a loop device showing a file is a disk image";
    EXPECT_EQ(resolved.resolved.identity.value().attachmentID, std::nullopt);
    EXPECT_EQ(DiskIdentityWalk::wholeDisk(tree, resolved.device).diskSequence, disk.diskSequence());

    // Neither the image nor the internal disk is offered as a detachable disk.
    ManualExecutor executor;
    SystemVolumeProvider provider(executor);
    for (const auto& listed : runToEnd(executor, provider.mountedExternalDisks())) {
        for (const auto& url : listed.mountURLs()) {
            EXPECT_TRUE(url != mountPoint && url != forgedPoint && url != "/") << url;
        }
    }
}

// btrfs shows an anonymous device number: the device its source names counts only
// when it carries the UUID the mounted file system reports.
TEST_F(VolumeProviderIntegrationTest, BtrfsSitsOnTheDeviceCarryingItsUUID) {
    LoopDisk pool(folder.path(), "pool");
    LoopDisk other(folder.path(), "other");
    // Mixed block groups: the 64 MiB images are below btrfs's usual minimum.
    for (const auto* disk : {&pool, &other}) {
        shell("mkfs.btrfs -q -f -M " + disk->device());
    }
    udev->keepRunningAndSettle();
    const auto uuid = shell("blkid -s UUID -o value " + pool.device());
    const auto mountPoint = pool.mount(pool.device(), folder.path() / "pool mount");
    const auto entry = mountAt(mountPoint);
    ASSERT_TRUE(entry && entry->major == 0u) << "btrfs shows an anonymous device number";

    EXPECT_EQ(MountDevice::btrfsUUID(*entry), uuid);
    EXPECT_EQ(devicePath(MountDevice::blockDevice(*entry, tree)), pool.device());

    auto claimingOther = *entry;
    claimingOther.source = other.device();
    EXPECT_EQ(devicePath(MountDevice::blockDevice(claimingOther, tree)), std::nullopt)
        << "another btrfs device does not carry this file system's UUID";

    // Another btrfs stacked on the path answers for itself, not for this mount.
    other.mount(other.device(), mountPoint);
    EXPECT_EQ(MountDevice::btrfsUUID(*entry), std::nullopt);
    EXPECT_EQ(devicePath(MountDevice::blockDevice(*entry, tree)), std::nullopt);
}

// The mount table is watched for its priority mark; readiness to read is always there
// and means nothing.
TEST(MountChangeMonitor, ReportsAMountAndAnUnmountOnceEach) {
    MountChangeMonitor monitor;
    ASSERT_TRUE(monitor.watchesMountTable());
    const auto watched = monitor.descriptors();
    EXPECT_EQ(watched.front().events, POLLPRI);
    EXPECT_FALSE(monitor.drain(watched.front().fd, POLLIN));
    EXPECT_TRUE(monitor.drain(watched.front().fd, POLLPRI));
    EXPECT_FALSE(monitor.drain(-1, POLLPRI));
    EXPECT_FALSE(monitor.waitForChange(0ms)) << "nothing changed yet";

    TmpfsMount scratch("size=1m");
    if (!scratch.isMounted()) {
        GTEST_SKIP() << "cannot mount a tmpfs here";
    }
    EXPECT_TRUE(monitor.waitForChange(2000ms));
    EXPECT_FALSE(monitor.waitForChange(0ms)) << "one change is reported once";

    scratch.unmount();
    EXPECT_TRUE(monitor.waitForChange(2000ms));
}

TEST(MountChangeMonitor, WithoutAMountTableWatchesNothing) {
    MountChangeMonitor without("/nonexistent/mountinfo");
    EXPECT_FALSE(without.watchesMountTable());
    EXPECT_FALSE(without.waitForChange(0ms));
}

} // namespace
} // namespace tovo
