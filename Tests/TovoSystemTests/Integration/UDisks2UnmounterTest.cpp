#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <iostream>

namespace tovo {
namespace {

using namespace tovo::testing;

// The real udisksd on a private bus, over real loop devices; its refusal of a busy
// disk is part of the end-to-end test.
class UDisks2UnmounterTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isRoot()) {
            GTEST_SKIP() << "needs root for loop devices and mounts";
        }
        udisks_.emplace(folder_.path());
        ASSERT_TRUE(udisks_->bus.awaitName("org.freedesktop.UDisks2"));
    }

    /// A loop disk with one file system, mounted at each of `names` once udisksd sees it.
    std::vector<std::filesystem::path> mountWhole(LoopDisk& disk,
                                                  const std::vector<std::string>& names) {
        disk.format(disk.device(), "TOVO");
        udisks_->udev.keepRunningAndSettle();
        std::vector<std::filesystem::path> mounts;
        for (const auto& name : names) {
            mounts.push_back(disk.mount(disk.device(), folder_.path() / name));
        }
        awaitUdisksMounts(mounts);
        return mounts;
    }

    void awaitUdisksMounts(const std::vector<std::filesystem::path>& mounts) {
        for (const auto& mountPoint : mounts) {
            ASSERT_TRUE(eventually([&] { return udisks_->bus.udisksReportsMount(mountPoint); }))
                << "udisksd never reported " << mountPoint;
        }
    }

    /// The refusal as the ejector shows it; none when the unmount succeeded.
    std::optional<EjectionFailure> unmount(ProvedDisk disk) {
        ManualExecutor executor;
        UDisks2Unmounter unmounter(executor, udisks_->bus.address(), std::chrono::seconds(10));
        try {
            runToEnd(executor, unmounter.unmountAndEject(std::move(disk)));
        } catch (const UnmountError& error) {
            return FileManagerDiskEjector::failure(error);
        }
        return std::nullopt;
    }

    TemporaryFolder folder_;
    std::optional<RealUdisks> udisks_;
};

TEST_F(UDisks2UnmounterTest, EveryMountOfEveryFileSystemOfTheDiskIsUnmounted) {
    LoopDisk disk(folder_.path(), "two");
    ASSERT_TRUE(disk.isAttached());
    disk.partitionInTwo();
    const auto first = disk.device() + "p1";
    const auto second = disk.device() + "p2";
    ASSERT_TRUE(std::filesystem::exists(first) && std::filesystem::exists(second));
    disk.format(first, "ONE");
    disk.format(second, "TWO");
    udisks_->udev.keepRunningAndSettle();
    // One file system mounted five times: more than one round of unmounts each.
    std::vector<std::filesystem::path> mounts;
    for (int i = 0; i < 5; ++i) {
        mounts.push_back(disk.mount(first, folder_.path() / ("one " + std::to_string(i))));
    }
    mounts.push_back(disk.mount(second, folder_.path() / "two"));
    awaitUdisksMounts(mounts);

    EXPECT_EQ(unmount({disk.kernelName(), disk.diskSequence(), mounts}), std::nullopt);
    for (const auto& mountPoint : mounts) {
        EXPECT_FALSE(isMounted(mountPoint)) << mountPoint;
    }
}

const EjectionFailure identityChanged(SystemDiskIdentityValidator::changedMessage, std::nullopt,
                                      EjectionFailureKind::identityChanged,
                                      UnmountError::identityChangedName, std::nullopt);

TEST_F(UDisks2UnmounterTest, ADiskReplacedUnderTheSameNameIsLeftAlone) {
    std::optional<LoopDisk> checked(std::in_place, folder_.path(), "checked");
    ASSERT_TRUE(checked->isAttached());
    const auto mounts = mountWhole(*checked, {"disk"});
    const ProvedDisk proved{checked->kernelName(), checked->diskSequence(), mounts};

    // Unplugged and another disk attached, usually under the same kernel name.
    const auto name = checked->device();
    checked.reset();
    LoopDisk replacement(folder_.path(), "replacement", name);
    ASSERT_TRUE(replacement.isAttached());
    if (replacement.device() != name) {
        std::cerr << "the replacement got " << replacement.device() << ", not " << name << "\n";
    }
    ASSERT_NE(replacement.diskSequence(), proved.attachmentID);
    mountWhole(replacement, {"disk"});

    EXPECT_EQ(unmount(proved), identityChanged);
    EXPECT_TRUE(isMounted(mounts[0]));
}

TEST_F(UDisks2UnmounterTest, AMountPathOfAnotherDiskIsRefusedBeforeAnything) {
    LoopDisk disk(folder_.path(), "own");
    LoopDisk other(folder_.path(), "other");
    ASSERT_TRUE(disk.isAttached() && other.isAttached());
    const auto own = mountWhole(disk, {"own"});
    const auto foreign = mountWhole(other, {"other"});

    EXPECT_EQ(unmount({disk.kernelName(), disk.diskSequence(), {own[0], foreign[0]}}),
              identityChanged);
    EXPECT_TRUE(isMounted(own[0]));
    EXPECT_TRUE(isMounted(foreign[0]));
}

TEST_F(UDisks2UnmounterTest, AFileSystemStillMountedInAnotherNamespaceIsBusyNotEjected) {
    LoopDisk disk(folder_.path(), "shared");
    ASSERT_TRUE(disk.isAttached());
    const auto mounts = mountWhole(disk, {"shared"});
    // A sandbox keeps its own copy of the mount, which no unmount here reaches.
    TestChild sandbox(
        {"/usr/bin/unshare", "-m", "--propagation", "private", "/usr/bin/sleep", "600"});
    const auto sandboxRoot = "/proc/" + std::to_string(sandbox.pid());
    ASSERT_TRUE(eventually([&] {
        std::error_code error;
        return readText(sandboxRoot + "/comm") == "sleep\n" &&
               std::filesystem::read_symlink(sandboxRoot + "/ns/mnt", error) !=
                   std::filesystem::read_symlink("/proc/self/ns/mnt", error);
    }));

    const auto failure = unmount({disk.kernelName(), disk.diskSequence(), mounts});
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, EjectionFailureKind::busy);
    EXPECT_EQ(failure->message,
              "A file system of this disk is still mounted in another mount namespace by "
              "“sleep” (process " +
                  std::to_string(sandbox.pid()) +
                  "), so data may still be waiting to be written: quit that program or its "
                  "container before you unplug the disk.");
}

} // namespace
} // namespace tovo
