#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;

// The real udisksd on a private bus, over a real loop device; its refusal of a busy
// disk is part of the end-to-end test.
TEST(UDisks2UnmounterTest, EveryMountedFileSystemOfTheDiskIsUnmountedForReal) {
    if (!isRoot()) {
        GTEST_SKIP() << "needs root for loop devices and mounts";
    }
    TemporaryFolder folder;
    RealUdisks udisks(folder.path());
    ASSERT_TRUE(udisks.bus.awaitName("org.freedesktop.UDisks2"));
    LoopDisk disk(folder.path(), "two");
    ASSERT_TRUE(disk.isAttached());
    disk.partitionInTwo();
    const auto first = disk.device() + "p1";
    const auto second = disk.device() + "p2";
    ASSERT_TRUE(std::filesystem::exists(first) && std::filesystem::exists(second));
    disk.format(first, "ONE");
    disk.format(second, "TWO");
    udisks.udev.keepRunningAndSettle();
    const std::vector<std::filesystem::path> mounts{disk.mount(first, folder.path() / "one mount"),
                                                    disk.mount(first, folder.path() / "again"),
                                                    disk.mount(second, folder.path() / "two")};
    for (const auto& mountPoint : mounts) {
        ASSERT_TRUE(eventually([&] { return udisks.bus.udisksReportsMount(mountPoint); }))
            << "udisksd never reported " << mountPoint;
    }

    // Asked about one mount of the second partition, it unmounts the whole disk.
    ManualExecutor executor;
    UDisks2Unmounter unmounter(executor, udisks.bus.address(), std::chrono::seconds(10));
    EXPECT_NO_THROW(runToEnd(executor, unmounter.unmountAndEject(mounts[2], disk.kernelName())));
    for (const auto& mountPoint : mounts) {
        EXPECT_FALSE(isMounted(mountPoint)) << mountPoint;
    }
}

} // namespace
} // namespace tovo
