#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;

const std::filesystem::path udisksd = "/usr/libexec/udisks2/udisksd";

class AcceptingValidator final : public DiskIdentityValidating {
public:
    Task<void> validate(ExternalDisk) override { co_return; }
};

// The real udisksd on a private bus, over real loop devices.
class UDisks2UnmounterTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        reason = skipReason();
        if (reason.empty() && !std::filesystem::exists(udisksd)) {
            reason = "needs " + udisksd.string();
        }
        if (!reason.empty()) {
            return;
        }
        folder = scratchFolder("udisks2");
        udev = std::make_unique<UdevDaemon>();
        bus = std::make_unique<PrivateBus>(folder);
        daemon = std::make_unique<Child>(
            std::vector<std::string>{udisksd.string()},
            std::vector<std::string>{"DBUS_SYSTEM_BUS_ADDRESS=" + bus->address()},
            folder / "udisksd.log");
        if (!waitFor([] { return bus->hasName("org.freedesktop.UDisks2"); })) {
            reason = "udisksd did not start: " +
                     shell("cat '" + (folder / "udisksd.log").string() + "'");
        }
    }
    static void TearDownTestSuite() {
        daemon.reset();
        bus.reset();
        udev.reset();
        if (!folder.empty()) {
            std::filesystem::remove_all(folder);
        }
    }
    void SetUp() override {
        if (!reason.empty()) {
            GTEST_SKIP() << reason;
        }
    }

    // udisksd learns of mounts by watching the mount table; wait until it has.
    static void waitUntilUdisksSees(const std::filesystem::path& mountPoint) {
        const auto found = waitFor([&] { return bus->udisksReportsMount(mountPoint); });
        ASSERT_TRUE(found) << "udisksd never reported " << mountPoint;
    }

    std::exception_ptr eject(const std::filesystem::path& mountPoint, const std::string& disk) {
        ManualExecutor executor;
        UDisks2Unmounter unmounter(executor, bus->address(), std::chrono::seconds(10));
        AcceptingValidator validator;
        FileManagerDiskEjector ejector(unmounter, validator);
        auto target = testing::makeDisk(1);
        target.wholeDiskIdentifier = disk;
        target.volumes[0].mountURL = mountPoint;
        auto handle = spawn(executor, ejector.eject(target));
        EXPECT_TRUE(executor.runUntil([&] { return handle.isDone(); }));
        return handle.error();
    }

    static inline std::string reason;
    static inline std::filesystem::path folder;
    static inline std::unique_ptr<UdevDaemon> udev;
    static inline std::unique_ptr<PrivateBus> bus;
    static inline std::unique_ptr<Child> daemon;
};

TEST_F(UDisks2UnmounterTest, BusyMountIsRefusedAsBusyInUdisksWords) {
    LoopDisk disk(folder, "busy");
    ASSERT_TRUE(disk.isAttached());
    disk.format(disk.device(), "BUSY");
    udev->keepRunningAndSettle();
    const auto mountPoint = disk.mount(disk.device(), folder / "busy");
    waitUntilUdisksSees(mountPoint);
    std::ofstream holder(mountPoint / "held.txt");
    ASSERT_TRUE(holder);

    const auto error = eject(mountPoint, disk.kernelName());
    ASSERT_TRUE(error);
    try {
        std::rethrow_exception(error);
    } catch (const EjectionFailure& failure) {
        EXPECT_EQ(failure.kind, EjectionFailureKind::busy);
        EXPECT_EQ(failure.underlyingDomain, "org.freedesktop.UDisks2.Error.DeviceBusy");
        EXPECT_EQ(failure.dissentingProcessID, std::nullopt);
        EXPECT_NE(failure.message.find("target is busy"), std::string::npos) << failure.message;
        EXPECT_NE(failure.message.find(disk.device()), std::string::npos) << failure.message;
    }
    EXPECT_TRUE(isMounted(mountPoint));
}

TEST_F(UDisks2UnmounterTest, EveryMountedFileSystemOfTheDiskIsUnmountedForReal) {
    LoopDisk disk(folder, "two", 64);
    ASSERT_TRUE(disk.isAttached());
    disk.partitionInTwo();
    const auto first = disk.device() + "p1";
    const auto second = disk.device() + "p2";
    ASSERT_TRUE(std::filesystem::exists(first) && std::filesystem::exists(second));
    disk.format(first, "ONE");
    disk.format(second, "TWO");
    udev->keepRunningAndSettle();
    const std::vector<std::filesystem::path> mounts{disk.mount(first, folder / "one mount"),
                                                    disk.mount(first, folder / "again"),
                                                    disk.mount(second, folder / "two")};
    for (const auto& mountPoint : mounts) {
        waitUntilUdisksSees(mountPoint);
    }

    EXPECT_FALSE(eject(mounts[2], disk.kernelName()));
    for (const auto& mountPoint : mounts) {
        EXPECT_FALSE(isMounted(mountPoint)) << mountPoint;
    }
}

} // namespace
} // namespace tovo
