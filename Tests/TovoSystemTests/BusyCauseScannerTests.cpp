#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Linux/KernelUseTables.hpp"
#include "TovoSystem/Linux/SysfsBlockDevices.hpp"
#include "TovoSystem/Services/SystemBusyCauseFinder.hpp"
#include "TovoSystem/Services/Unmounter.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ranges>
#include <sys/sysmacros.h>

namespace tovo {
namespace {

using ::testing::ElementsAre;
using namespace KernelUseTables;
const auto write = testing::writeText;

TEST(KernelUseTablesTest, ReadsSwapsExportsPropagationHidepidAndDeviceNumbers) {
    EXPECT_THAT(parseSwaps("Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n"
                           "/dev/sdz2                               partition\t1048572\t\t0\t\t-2\n"
                           "/media/u/My\\040Disk/swapfile\tfile\t\t65532\t\t0\t\t-3\n"
                           "/media/u/DISK/old (deleted)             file\t\t65532\t\t0\t\t-4\n"),
                ElementsAre(SwapArea{"/dev/sdz2", true},
                            SwapArea{"/media/u/My Disk/swapfile", false},
                            SwapArea{"/media/u/DISK/old", false}));
    EXPECT_THAT(parseExports("# Version 1.1\n# Path Client(Flags) # IPs\n"
                             "/media/u/My\\040Disk\t*(rw,root_squash,sync)\n"),
                ElementsAre("/media/u/My Disk"));

    // Shared and following copies of real mounts are the namespace suite's.
    EXPECT_EQ(parsePropagation("200 30 8:17 / /c rw master:5 propagate_from:2 - ext4 /dev/sdz1 rw")
                  .at(200),
              (Propagation{std::nullopt, 5}));
    const auto proc = [](std::string options) {
        return std::vector{MountEntry{1, 0, 0, 20, "/", "/proc", "rw", "proc", "proc", options}};
    };
    EXPECT_TRUE(hidesProcesses(proc("rw,hidepid=invisible")));
    EXPECT_FALSE(hidesProcesses(proc("rw,hidepid=0")));
    EXPECT_FALSE(hidesProcesses(proc("rw,subset=pid")));

    EXPECT_EQ(decodeKernelDevice(0x0803), makedev(8, 3));
    EXPECT_EQ(decodeKernelDevice(0x110307), makedev(259, 0x107)) << "minors above 255";
}

/// Records the calls Tovo makes; answers from `blocks`, refuses when told to.
class FakeCauseBus final : public CauseActionBus {
public:
    std::vector<UDisks2Block> shown;
    mutable std::vector<std::string> calls;
    std::optional<UnmountError> refusal;

    std::vector<UDisks2Block> blocks() const override { return shown; }
    void call(const std::string& objectPath, const std::string& interface,
              const std::string& method) const override {
        calls.push_back(objectPath + " " + interface.substr(interface.rfind('.') + 1) + "." +
                        method);
        if (refusal) {
            throw *refusal;
        }
    }
};

// A disk sdz (partitions sdz1, mounted, and sdz2) whose kernel tables show one cause
// of each kind the scanner can find without real devices or other namespaces.
class BusyCauseScannerTest : public ::testing::Test {
protected:
    void SetUp() override {
        const auto block = sys_.path() / "class" / "block";
        // "<file under /sys/class/block> <its line>"
        for (const std::string entry :
             {"sdz/dev 8:16", "sdz1/dev 8:17", "sdz2/dev 8:18", "dm-3/dev 254:3", "dm-4/dev 254:4",
              "md0/dev 9:0", "sdz/sdz1/partition 1", "sdz/sdz2/partition 2",
              "dm-3/dm/uuid CRYPT-LUKS2-0123-secret", "dm-3/dm/name secret", "dm-4/dm/uuid LVM-abc",
              "dm-4/dm/name vg-data"}) {
            const auto space = entry.find(' ');
            write(block / entry.substr(0, space), entry.substr(space + 1) + "\n");
        }
        for (const auto* folder :
             {"sdz1/holders/dm-3", "sdz1/holders/dm-4", "sdz2/holders/md0", "dm-4/holders/dm-9"}) {
            std::filesystem::create_directories(block / folder);
        }
        std::filesystem::create_directories(sys_.path() / "dev" / "block" / "7:9");

        write(proc_.path() / "self/mountinfo",
              "29 1 254:1 / / rw - ext4 /dev/vda rw\n"
              "100 29 8:17 / /media/u/DISK rw shared:5 - ext4 /dev/sdz1 rw\n"
              "101 100 0:61 / /media/u/DISK/inner rw - tmpfs tmpfs rw\n"
              "102 100 7:9 / /media/u/DISK/img rw - ext4 /dev/loop9 rw\n"
              "103 29 8:17 /photos /srv/share rw - ext4 /dev/sdz1 rw\n"
              "104 29 0:62 / /media/u/OTHER rw - tmpfs tmpfs rw\n");
    }

    SystemBusyCauseFinder finder(std::optional<bool> seesAll = true) {
        return SystemBusyCauseFinder(
            executor_, bus_, BusyCauseScanner({proc_.path(), sys_.path(), "/nonexistent", {}}),
            1000, seesAll);
    }
    static std::vector<std::string> keys(const std::vector<BusyCause>& causes) {
        const auto view = causes | std::views::transform([](const BusyCause& cause) {
                              return cause.key() + " on " + cause.device;
                          });
        return {view.begin(), view.end()};
    }

    testing::TemporaryFolder proc_;
    testing::TemporaryFolder sys_;
    ManualExecutor executor_;
    std::shared_ptr<FakeCauseBus> bus_ = std::make_shared<FakeCauseBus>();
    ExternalDisk disk_ = [] {
        auto disk = testing::makeDisk(7);
        disk.wholeDiskIdentifier = "sdz";
        disk.volumes = {testing::makeVolume("DISK", "/media/u/DISK")};
        return disk;
    }();
};

// Holders are followed through every layer, each device once, and a name never leaves
// the folder.
TEST_F(BusyCauseScannerTest, SysfsFamilyIsTheDiskItsPartitionsAndWhatIsBuiltOnThem) {
    const auto block = sys_.path() / "class" / "block";
    write(block / "sdz" / "diskseq", "41\n");
    for (const auto* folder : {"sdz/queue", "dm-4/holders/sdz"}) { // no partition; a loop back
        std::filesystem::create_directories(block / folder);
    }
    const SysfsBlockDevices sysfs(sys_.path());
    EXPECT_EQ(sysfs.family("sdz").size(), 6u);
    EXPECT_EQ(sysfs.diskSequence("sdz"), 41u);
    EXPECT_EQ(sysfs.diskSequence("md0"), std::nullopt);
    for (const auto* missing : {"sdq", "..", "sdz/sdz1"}) {
        EXPECT_EQ(sysfs.deviceNumber(missing), std::nullopt) << missing;
        EXPECT_TRUE(sysfs.family(missing).empty()) << missing;
    }
}

TEST_F(BusyCauseScannerTest, FindsEveryCauseTheTablesShow) {
    const auto causes = finder().find(disk_, true);
    EXPECT_THAT(keys(causes),
                ElementsAre("nestedMount:/media/u/DISK/inner on sdz1",
                            "nestedMount:/media/u/DISK/img on sdz1", "bindMount:/srv/share on sdz1",
                            "holderDevice:/dev/mapper/secret on sdz1",
                            "holderDevice:/dev/mapper/vg-data on sdz1",
                            "holderDevice:/dev/md0 on sdz2"));
    // Without udisks2 every plan is the user's, each with its own step.
    for (const auto& cause : causes) {
        EXPECT_EQ(cause.plan.action, BusyCauseAction::none) << cause.key();
        EXPECT_FALSE(cause.plan.message.empty()) << cause.key();
    }
}

// Tovo takes a cause over only where udisks2 shows that it can; anything else stays
// with the user.
TEST_F(BusyCauseScannerTest, PlansWhatUdisksCanReleaseAndActsOnlyThroughIt) {
    bus_->shown = {
        UDisks2Block{
            "/b/loop9", makedev(7, 9), {"/media/u/DISK/img"}, std::nullopt, false, std::nullopt},
        UDisks2Block{
            "/b/sdz1", makedev(8, 17), {"/media/u/DISK"}, std::nullopt, true, std::nullopt},
        UDisks2Block{"/b/dm_3", makedev(254, 3), {}, std::nullopt, false, "/b/sdz1"}};
    const auto finder = this->finder();
    auto causes = finder.find(disk_, true);
    ASSERT_EQ(causes.size(), 6u);
    EXPECT_EQ(causes[0].plan.action, BusyCauseAction::none) << "a tmpfs is no udisks2 file system";
    EXPECT_EQ(causes[1].plan.action, BusyCauseAction::unmountNested);
    EXPECT_EQ(causes[3].plan.action, BusyCauseAction::lockEncrypted);
    EXPECT_EQ(causes[4].plan.action, BusyCauseAction::none) << "LVM is deactivated by hand";

    // Mounted a second time since: Unmount would not say which one goes.
    bus_->shown[0].mountPoints.push_back("/elsewhere");
    EXPECT_EQ(finder.find(disk_, true)[1].plan.action, BusyCauseAction::none);
    const auto attempt = finder.resolveNow(causes[1]);
    EXPECT_EQ(attempt.disposition, ReleaseDisposition::failed);
    EXPECT_TRUE(bus_->calls.empty());

    bus_->shown[0].mountPoints.pop_back();
    EXPECT_EQ(finder.resolveNow(causes[1]),
              (BusyCauseAttempt{causes[1].key(), ReleaseDisposition::requested, "Unmounted."}));
    bus_->refusal = UnmountError("org.freedesktop.UDisks2.Error.NotAuthorized", "Not authorized.");
    EXPECT_EQ(finder.resolveNow(causes[3]).message, "The system did not allow it: Not authorized.");
    EXPECT_THAT(bus_->calls, ElementsAre("/b/loop9 Filesystem.Unmount", "/b/sdz1 Encrypted.Lock"));
    EXPECT_EQ(finder.resolveNow(causes[5]).disposition, ReleaseDisposition::needsManualAction);
}

TEST_F(BusyCauseScannerTest, SaysProcessesMayBeUnseenOnlyWhenNothingElseExplainsTheRefusal) {
    auto bare = disk_;
    bare.wholeDiskIdentifier = "sdq";
    bare.volumes = {testing::makeVolume("OTHER", "/media/u/OTHER")};
    // A tmpfs "disk": its mount shows a device of its own, with nothing inside it.
    const auto unseen = finder(false).find(bare, false);
    ASSERT_EQ(unseen.size(), 1u);
    EXPECT_EQ(unseen[0].kind, BusyCauseKind::unseenProcesses);
    EXPECT_THAT(unseen[0].plan.message, ::testing::HasSubstr("other users"));

    EXPECT_TRUE(finder(false).find(bare, true).empty()) << "a holder was found";
    EXPECT_EQ(finder(false).find(disk_, false).size(), 6u) << "the causes explain it";
}

} // namespace
} // namespace tovo
