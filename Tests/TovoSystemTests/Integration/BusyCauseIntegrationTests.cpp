#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Services/SystemBusyCauseFinder.hpp"
#include "UDisks2TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;

// A real loop disk with one ext4 file system mounted in a folder of the test's own;
// each test adds real causes to it and removes them again.
class BusyCauseIntegrationTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isRoot()) {
            GTEST_SKIP() << "needs root for loop devices and mounts";
        }
        disk_.emplace(folder_.path(), "causes");
        disk_->format(disk_->device(), "CAUSES");
        mount_ = disk_->mount(disk_->device(), folder_.path() / "mnt");
        external_.wholeDiskIdentifier = disk_->kernelName();
        external_.volumes = {makeVolume("CAUSES", mount_.string())};
    }
    void TearDown() override {
        for (auto it = cleanups_.rbegin(); it != cleanups_.rend(); ++it) {
            shell(*it);
        }
    }

    std::vector<BusyCause> causes(BusyCauseRoots roots = {}) {
        const SystemBusyCauseFinder finder(executor_, nullptr, BusyCauseScanner(std::move(roots)),
                                           ::geteuid(), true);
        return finder.find(external_, true);
    }
    /// Runs `command` now and `undo` when the test ends.
    void run(const std::string& command, const std::string& undo) {
        cleanups_.push_back(undo);
        int status = -1;
        const auto output = shell(command, &status);
        ASSERT_EQ(status, 0) << command << ": " << output;
    }
    std::string inDisk(const std::string& name) const { return (mount_ / name).string(); }

    TemporaryFolder folder_;
    std::optional<LoopDisk> disk_;
    std::filesystem::path mount_;
    ExternalDisk external_ = makeDisk(9, "CAUSES");
    ManualExecutor executor_;
    std::vector<std::string> cleanups_;
};

// A folder of the disk mounted again elsewhere, a swap file on it, a folder of it shared
// over NFS, and a private copy of its mount in another namespace each keep it busy; a
// copy that follows ours goes with our unmount and is no cause.
TEST_F(BusyCauseIntegrationTest, EachRealCauseIsFoundButNotACopyThatFollowsOurs) {
    // As on a desktop, where systemd makes every mount shared.
    run("mount --make-shared '" + mount_.string() + "'", "true");
    std::filesystem::create_directories(inDisk("photos"));
    const auto bind = folder_.path() / "bind";
    std::filesystem::create_directories(bind);
    run("mount --bind '" + inDisk("photos") + "' '" + bind.string() + "'",
        "umount '" + bind.string() + "'");
    const auto swap = inDisk("swapfile");
    run("dd if=/dev/zero of='" + swap + "' bs=1M count=16 status=none && chmod 600 '" + swap +
            "' && mkswap -q '" + swap + "'",
        "true");
    run("swapon '" + swap + "'", "swapoff '" + swap + "'");
    // No kernel NFS server here: exportfs's table stands in for the kernel's.
    const BusyCauseRoots roots{.exportTables = {folder_.path() / "etab"}};
    std::ofstream(roots.exportTables[0])
        << "/srv/elsewhere\t*(rw)\n"
        << inDisk("shared") << "\t192.0.2.0/24(rw,sync,no_subtree_check)\n";
    const auto startIn = [](const char* propagation) {
        auto child = std::make_unique<TestChild>(std::vector<std::string>{
            "/usr/bin/unshare", "-m", "--propagation", propagation, "/bin/sleep", "600"});
        EXPECT_TRUE(entersOwnMountNamespace(child->pid()));
        return child;
    };
    const auto follower = startIn("slave");

    std::vector<std::string> found;
    for (const auto& cause : causes(roots)) {
        found.push_back(cause.key());
    }
    EXPECT_THAT(found, ::testing::UnorderedElementsAre("bindMount:" + bind.string(), "swap:" + swap,
                                                       "networkExport:" + inDisk("shared")));
    const auto container = startIn("private");
    EXPECT_TRUE(std::ranges::any_of(causes(), [&](const BusyCause& cause) {
        return cause.kind == BusyCauseKind::otherNamespace && cause.processID == container->pid();
    }));
}

// What udisks2 shows as the user's, Tovo releases through it: the image's file
// system mounted inside the disk, then the loop device udisks2 set up for it.
TEST_F(BusyCauseIntegrationTest, UdisksUnmountsANestedImageAndDetachesItsLoopDevice) {
    const TemporaryFolder daemonFolder;
    RealUdisks udisks(daemonFolder.path());
    ASSERT_TRUE(udisks.bus.awaitName("org.freedesktop.UDisks2"));
    const auto image = inDisk("image.img");
    run("truncate -s 16M '" + image + "' && mkfs.ext4 -q -F -L IMAGE '" + image + "'", "true");
    const auto loop = shell("DBUS_SYSTEM_BUS_ADDRESS=" + udisks.bus.address() +
                            " udisksctl loop-setup --no-user-interaction -f '" + image +
                            "' | grep -o '/dev/loop[0-9]*'");
    ASSERT_TRUE(loop.starts_with("/dev/loop")) << loop;
    cleanups_.push_back("test -e /sys/block/" + loop.substr(5) + "/loop && losetup -d " + loop);
    udisks.udev.keepRunningAndSettle();
    run("mkdir '" + inDisk("img") + "' && mount " + loop + " '" + inDisk("img") + "'",
        "umount '" + inDisk("img") + "' || true");
    ASSERT_TRUE(eventually([&] { return udisks.bus.udisksReportsMount(inDisk("img")); }));

    const SystemBusyCauseFinder finder(
        executor_,
        std::make_shared<UDisks2CauseBus>(udisks.bus.address(), std::chrono::seconds(10)),
        BusyCauseScanner(), ::geteuid(), true);
    const auto all = finder.find(external_, true);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(std::pair(all[0].plan.action, all[1].plan.action),
              std::pair(BusyCauseAction::unmountNested, BusyCauseAction::detachLoop));

    EXPECT_EQ(finder.resolveNow(all[0]).disposition, ReleaseDisposition::requested);
    EXPECT_FALSE(isMounted(inDisk("img")));
    EXPECT_EQ(finder.resolveNow(all[1]).disposition, ReleaseDisposition::requested);
    EXPECT_TRUE(eventually([&] {
        return !std::filesystem::exists("/sys/block/" + loop.substr(5) + "/loop/backing_file");
    }));
    EXPECT_TRUE(finder.find(external_, true).empty());
    EXPECT_EQ(::umount2(mount_.c_str(), 0), 0) << "nothing holds the disk any more";
}

// Run as an ordinary user, the finder cannot vouch that nobody holds the disk.
TEST_F(BusyCauseIntegrationTest, AnOrdinaryUserIsToldOfProcessesItCannotSee) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(2);
        }
        ManualExecutor executor;
        const auto found = SystemBusyCauseFinder(executor, nullptr).find(external_, false);
        ::_exit(found.size() == 1 && found[0].kind == BusyCauseKind::unseenProcesses ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;

    EXPECT_TRUE(SystemBusyCauseFinder(executor_, nullptr).find(external_, false).empty())
        << "root sees every process";
}

} // namespace
} // namespace tovo
