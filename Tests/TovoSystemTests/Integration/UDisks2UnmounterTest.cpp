#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace tovo {
namespace {

using namespace tovo::testing;

// The real udisksd on a private bus, over real loop devices; its refusal of a busy
// disk is part of the end-to-end test.
class UDisks2UnmounterTest : public RealUdisksTest {
protected:
    /// A loop disk with one file system, mounted at `name` once udisksd sees it.
    std::filesystem::path mountWhole(LoopDisk& disk, const std::string& name) {
        disk.format(disk.device(), "TOVO");
        return udisks_->mount(disk, disk.device(), folder_.path() / name);
    }

    std::optional<EjectionFailure> unmount(ProvedDisk disk) {
        ManualExecutor executor;
        UDisks2Unmounter unmounter(executor, udisks_->bus.address(), std::chrono::seconds(10));
        StartedTask<void> run(executor, unmounter.unmountAndEject(std::move(disk)));
        EXPECT_TRUE(run.finish(executor));
        return failureOf(run.error());
    }
};

TEST_F(UDisks2UnmounterTest, EveryMountOfEveryFileSystemOfTheDiskIsUnmounted) {
    LoopDisk disk(folder_.path(), "two");
    disk.partitionInTwo();
    // One file system mounted five times: more than one round of unmounts each.
    std::vector<std::filesystem::path> mounts;
    for (int i = 0; i < 5; ++i) {
        mounts.push_back(udisks_->mount(disk, disk.device() + "p1",
                                        folder_.path() / ("one " + std::to_string(i))));
    }
    mounts.push_back(udisks_->mount(disk, disk.device() + "p2", folder_.path() / "two"));

    EXPECT_EQ(unmount(disk.proved(mounts)), std::nullopt);
    EXPECT_TRUE(std::ranges::none_of(mounts, [](const auto& path) { return isMounted(path); }));
}

const EjectionFailure identityChanged(SystemDiskIdentityValidator::changedMessage, std::nullopt,
                                      EjectionFailureKind::identityChanged,
                                      UnmountError::identityChangedName, std::nullopt);

TEST_F(UDisks2UnmounterTest, ADiskReplacedUnderTheSameNameIsLeftAlone) {
    std::optional<LoopDisk> checked(std::in_place, folder_.path(), "checked");
    const auto mount = mountWhole(*checked, "disk");
    const auto proved = checked->proved({mount});

    // Unplugged and another disk attached, usually under the same kernel name.
    const auto name = checked->device();
    checked.reset();
    LoopDisk replacement(folder_.path(), "replacement", name);
    ASSERT_NE(replacement.diskSequence(), proved.attachmentID);
    mountWhole(replacement, "disk");

    EXPECT_EQ(unmount(proved), identityChanged) << "the replacement is " << replacement.device();
    EXPECT_TRUE(isMounted(mount));
}

// Unmounted, yet another of the disk's devices is held exclusively (a tool writing to it
// directly): the disk is busy and stays attached.
TEST_F(UDisks2UnmounterTest, ADeviceStillHeldAfterTheUnmountsIsBusyNotEjected) {
    LoopDisk disk(folder_.path(), "held");
    disk.partitionInTwo();
    const auto mount = udisks_->mount(disk, disk.device() + "p1", folder_.path() / "one");
    const auto second = disk.device() + "p2";
    TestChild holder({"/usr/bin/python3", "-c",
                      "import os, sys, time\n"
                      "while True:\n"
                      "    try: os.open(sys.argv[1], os.O_RDONLY | os.O_EXCL); break\n"
                      "    except OSError: time.sleep(0.05)\n"
                      "time.sleep(600)",
                      second});
    ASSERT_TRUE(eventually([&] {
        const int probe = ::open(second.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
        return probe < 0 ? errno == EBUSY : (::close(probe), false);
    }));

    const auto failure = unmount(disk.proved({mount})).value();
    EXPECT_EQ(failure.kind, EjectionFailureKind::busy);
    EXPECT_TRUE(failure.message.starts_with(second + " of this disk is still in use by the system"))
        << failure.message;
    EXPECT_FALSE(isMounted(mount));
    EXPECT_TRUE(disk.isAttached());
}

TEST_F(UDisks2UnmounterTest, AFileSystemStillMountedInAnotherNamespaceIsBusyNotEjected) {
    LoopDisk disk(folder_.path(), "shared");
    const auto mount = mountWhole(disk, "shared");
    // A sandbox keeps its own copy of the mount, which no unmount here reaches.
    TestChild sandbox(
        {"/usr/bin/unshare", "-m", "--propagation", "private", "/usr/bin/sleep", "600"});
    ASSERT_TRUE(entersOwnMountNamespace(sandbox.pid()));

    const auto failure = unmount(disk.proved({mount})).value();
    EXPECT_EQ(failure.kind, EjectionFailureKind::busy);
    EXPECT_EQ(failure.message,
              "A file system of this disk is still mounted in another mount namespace by "
              "“sleep” (process " +
                  std::to_string(sandbox.pid()) +
                  "), so data may still be waiting to be written: quit that program or its "
                  "container before you unplug the disk.");
}

} // namespace
} // namespace tovo
