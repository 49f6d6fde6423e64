#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Linux/MountInfo.hpp"
#include "TovoSystem/Linux/UdevDeviceTree.hpp"
#include "TovoSystem/Services/DiskIdentityResolver.hpp"
#include "TovoSystem/Services/DiskIdentityWalk.hpp"
#include "TovoSystem/Services/SystemVolumeProvider.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;

// The real resolver and provider with systemd-udevd running, over a real loop image.
TEST(VolumeProviderIntegrationTest, ResolverReportsTheLoopDiskAndProviderListsNothing) {
    if (!isRoot()) {
        GTEST_SKIP() << "needs root for loop devices and mounts";
    }
    TemporaryFolder folder;
    UdevDaemon udev;
    LoopDisk disk(folder.path(), "image");
    ASSERT_TRUE(disk.isAttached());
    disk.partitionInTwo();
    const auto partition = disk.device() + "p2";
    ASSERT_TRUE(std::filesystem::exists(partition));
    disk.format(partition, "Tovo Vol 2");
    udev.keepRunningAndSettle();
    const auto mountPoint = disk.mount(partition, folder.path() / "image mount");

    UdevDeviceTree tree;
    const auto resolved = DiskIdentityResolver(tree).resolve(partition);
    ASSERT_TRUE(resolved && resolved->resolved.identity);
    EXPECT_EQ(resolved->fileSystemUUID(), shell("blkid -s UUID -o value " + partition));
    EXPECT_EQ(resolved->fileSystemLabel(), "Tovo Vol 2");
    EXPECT_EQ(resolved->fileSystemType(), "ext4");
    EXPECT_TRUE(resolved->resolved.isVirtual) << "a loop device showing a file is a disk image";
    EXPECT_EQ(resolved->resolved.logicalWholeDiskIdentifier, disk.kernelName());
    EXPECT_EQ(resolved->resolved.identity->attachmentID, std::nullopt);
    EXPECT_EQ(resolved->resolved.identity->mediaSize, 64LL * 1024 * 1024);
    const auto whole = DiskIdentityWalk::wholeDisk(tree, resolved->device);
    EXPECT_EQ(whole.diskSequence,
              std::stoull(shell("cat /sys/class/block/" + disk.kernelName() + "/diskseq")));
    EXPECT_EQ(DiskIdentityResolver::describe(whole).mediaUUID,
              shell("blkid -s PTUUID -o value " + disk.device()))
        << "the partition table's UUID names the media";

    for (const auto& entry : MountInfo::read("/proc/self/mountinfo")) {
        const auto root = DiskIdentityResolver(tree).resolve(entry.source);
        if (entry.mountPoint == "/" && root && root->resolved.identity) {
            EXPECT_EQ(root->resolved.identity->attachmentID, std::nullopt)
                << "the internal disk " << entry.source << " is not detachable";
        }
    }
    ManualExecutor executor;
    SystemVolumeProvider provider(executor);
    const auto disks = runToEnd(executor, provider.mountedExternalDisks());
    for (const auto& listed : disks) {
        for (const auto& url : listed.mountURLs()) {
            EXPECT_NE(url, mountPoint);
            EXPECT_NE(url, "/");
        }
    }
}

} // namespace
} // namespace tovo
