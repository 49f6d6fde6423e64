#include "DiskFakeDeviceTree.hpp"
#include "Support/TaskRunning.hpp"
#include "TovoSystem/Services/CapacityPoolIdentifier.hpp"
#include "TovoSystem/Services/DiskIdentityResolver.hpp"
#include "TovoSystem/Services/DiskIdentityWalk.hpp"
#include "TovoSystem/Services/SystemVolumeProvider.hpp"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <unistd.h>

namespace tovo {
namespace {

using testing::addInternalDisk;
using testing::addLoopImage;
using testing::addUsbDisk;
using testing::FakeDeviceTree;
using testing::fileSystem;

// One tree with every kind of disk the rows resolve from.
FakeDeviceTree everyKindOfDisk() {
    FakeDeviceTree t;
    addUsbDisk(t, "sdc", 42, false, {}, {{}, {}});
    addUsbDisk(t, "sdb", 41, true,
               {{"ID_PART_TABLE_UUID", "5f2c1e7a-01"},
                {"ID_VENDOR_ENC", "SanDisk\\x20"},
                {"ID_MODEL_ENC", "Cruzer\\x20Blade\\x20\\x20"}},
               {fileSystem("AB12-CD34", "STICK\\x202\\xff", "vfat")}, "2-5");
    addInternalDisk(t, "sda", 1, {{}, {}});
    addLoopImage(t, "zram0", 10, {}, false);
    t.addStacked("dm-0", {addUsbDisk(t, "sdf", 44, false, {}, {{}}, "2-4") + "/sdf1"});
    t.addStacked("md0", {addUsbDisk(t, "sdg", 45, true, {}, {}, "2-2"),
                         addUsbDisk(t, "sdh", 46, true, {}, {}, "2-3")});
    return t;
}

constexpr auto none = std::nullopt;

TEST(DiskIdentityResolveTest, GroupsIdentifiesAndDescribesTheWholeDisk) {
    const auto tree = everyKindOfDisk();
    using Facts =
        std::tuple<std::string, std::optional<std::uint64_t>, bool, std::optional<std::string>>;
    for (const auto& [source, facts] : std::vector<std::pair<std::string, Facts>>{
             {"/dev/sdc2", {"io:42", 42, false, "sdc"}}, // on USB without the removable flag
             {"/dev/sda2", {"logical:sda", none, false, "sda"}},
             {"/dev/zram0", {"logical:zram0", none, true, "zram0"}}, // virtual, no backing file
             {"/dev/dm-0", {"io:44", 44, false, "sdf"}}, // encrypted on USB, through its slave
             {"/dev/md0", {"logical:md0", none, false, "md0"}}}) { // RAID over two: not followed
        const auto resolved = DiskIdentityResolver(tree).resolve(tree.named(source)).resolved;
        ASSERT_TRUE(resolved.identity) << source;
        EXPECT_EQ(Facts(resolved.identity->groupingID, resolved.identity->attachmentID,
                        resolved.isVirtual, resolved.logicalWholeDiskIdentifier),
                  facts)
            << source;
    }

    // The whole disk's facts, and the file system's.
    const auto resolved = DiskIdentityResolver(tree).resolve(tree.named("/dev/sdb1"));
    EXPECT_EQ(resolved.resolved.identity,
              std::optional(WholeDiskIdentity{"io:41", 41, "5f2c1e7a-01", "sdb",
                                              "SanDisk Cruzer Blade", 2'000'000LL * 512}));
    EXPECT_EQ(std::make_tuple(resolved.fileSystemUUID(), resolved.fileSystemLabel(),
                              resolved.fileSystemType()),
              std::make_tuple("AB12-CD34", "STICK 2\xEF\xBF\xBD", "vfat"));
    EXPECT_TRUE(resolved.isRemovable && resolved.isExternal);
}

TEST(DiskIdentityChoiceTest, BlankNamesFallThroughAndLogicalGroupingFallsBack) {
    EXPECT_EQ(DiskIdentityChoice::deviceName({std::string(" \t\n"), std::string(" Model X ")}),
              "Model X");
    EXPECT_EQ(DiskIdentityChoice::deviceName({std::nullopt, std::string("  ")}), std::nullopt);
    const WholeDiskDescription logical{"sdb", "TABLE-UUID", {std::string("Stick")}, 8192};
    EXPECT_EQ(DiskIdentityChoice::choose(
                  PhysicalIOMediaIdentity{7, std::nullopt, std::nullopt, std::nullopt}, logical),
              (WholeDiskIdentity{"io:7", 7, std::nullopt, "sdb", "Stick", 8192}));
    EXPECT_EQ(DiskIdentityChoice::choose(std::nullopt, {std::nullopt, "U-1", {}, std::nullopt})
                  ->groupingID,
              "logical-media:U-1");
    EXPECT_EQ(DiskIdentityChoice::choose(std::nullopt, {}), std::nullopt);

    // Only APFS volumes share their container's capacity.
    EXPECT_EQ(CapacityPoolIdentifier::make(std::nullopt, "disk4", "io:77"), std::nullopt);
    EXPECT_EQ(CapacityPoolIdentifier::make("exfat", "disk4", "io:77"), std::nullopt);
    EXPECT_EQ(CapacityPoolIdentifier::make(" APFS\n", "disk4", "io:77"), "apfs:disk4");
}

TEST(DiskIdentityWalkTest, TheHighestWholeDiskWinsAndFlagsStick) {
    FakeDeviceTree tree;
    std::vector<DeviceNode> chain{tree.add("/devices/virtual/block/dm-1", "block", "disk", 90),
                                  tree.add("/devices/usb1/1-1", "usb"),
                                  tree.add("/devices/pci/block/sdz", "block", "disk", 12),
                                  tree.add("/devices/pci", "pci")};
    chain[0].isRemovable = true;
    const auto result = DiskIdentityWalk::scan(chain);
    EXPECT_EQ(result.scan.physicalMedia.value().registryEntryID, 12u);
    EXPECT_TRUE(result.scan.isVirtual) << "virtual seen low in the chain sticks";
    EXPECT_FALSE(result.isRemovable) << "removable is the winning candidate's own flag";

    // Without a disk sequence, udev's initialisation time identifies the disk.
    auto disk = tree.add("/devices/usb1/1-1/block/sdq", "block", "disk");
    disk.isRemovable = true;
    EXPECT_FALSE(DiskIdentityWalk::scan({disk}).scan.physicalMedia);
    disk.initializedMicroseconds = 5'000'123;
    EXPECT_EQ(DiskIdentityWalk::scan({disk}).scan.physicalMedia->registryEntryID, 5000123u);
}

class SystemVolumeProviderTest : public ::testing::Test {
protected:
    void SetUp() override {
        addInternalDisk(tree, "sda", 1, {{}, fileSystem("ROOT-UUID", "root")});
        addUsbDisk(tree, "sdb", 41, true, {{"ID_VENDOR", "SanDisk"}, {"ID_MODEL", "Cruzer"}},
                   {fileSystem("P10", "Photos\\x2010"), fileSystem("P2", "Photos\\x202")});
        addUsbDisk(tree, "sdc", 42, true, {},
                   {fileSystem("B", "Beta", "exfat"), fileSystem("A", "alpha", "vfat")}, "2-2");
        addUsbDisk(tree, "sdd", 43, false, {}, {fileSystem("K2", "Backup\\x202")}, "2-3");
        addUsbDisk(tree, "sde", 44, false, {}, {fileSystem("K10", "Backup\\x2010")}, "2-4");
        addLoopImage(tree, "loop0", 9, fileSystem("IMG", "Image"));
    }
    void TearDown() override { std::filesystem::remove(mountInfoPath); }

    /// The disks listed over the system's mounts and `mounts`; none: no mount table.
    std::vector<ExternalDisk> list(const std::optional<std::string>& mounts) {
        if (mounts) {
            std::ofstream(mountInfoPath, std::ios::binary) << systemMounts + *mounts;
        }
        const auto capacity = [](const std::filesystem::path& path) {
            return VolumeCapacity{1000 + std::int64_t(path.string().size()), 400};
        };
        SystemVolumeProvider provider(
            executor, VolumeListingSources{
                          mountInfoPath, [this] { return std::make_unique<FakeDeviceTree>(tree); },
                          capacity, "en_US"});
        return testing::runToEnd(executor, provider.mountedExternalDisks());
    }

    const std::string systemMounts = "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                                     "27 1 8:2 / / rw,relatime - ext4 /dev/sda2 rw\n"
                                     "33 27 7:0 / /media/u/Image ro - ext4 /dev/loop0 ro\n";
    ManualExecutor executor;
    FakeDeviceTree tree;
    // One file per process: ctest runs tests of this suite side by side.
    std::filesystem::path mountInfoPath = std::filesystem::path(::testing::TempDir()) /
                                          ("tovo-mountinfo-" + std::to_string(::getpid()));
};

TEST_F(SystemVolumeProviderTest, ListsOnlyDetachableHardwareInFileBrowserOrder) {
    const auto disks = list("40 27 8:17 / /media/u/Photos\\04010 rw - ext4 /dev/sdb1 rw\n"
                            "41 27 8:18 / /media/u/Photos\\0402 rw - ext4 /dev/sdb2 rw\n"
                            "42 27 8:33 / /media/u/Beta rw - exfat /dev/sdc1 rw\n"
                            "43 27 8:34 / /media/u/alpha rw - vfat /dev/sdc2 rw\n"
                            "44 27 8:49 / /media/u/Backup\\0402 ro,nosuid - ext4 /dev/sdd1 rw\n"
                            "45 27 8:65 / /media/u/Backup\\04010 rw - ext4 /dev/sde1 rw\n");
    ASSERT_EQ(disks.size(), 4u);
    EXPECT_EQ(disks[0].displayName, "alpha + Beta");
    EXPECT_EQ(disks[1].displayName + ", " + disks[2].displayName, "Backup 2, Backup 10");

    const auto& stick = disks[3];
    EXPECT_EQ(stick.displayName, "SanDisk Cruzer");
    ASSERT_EQ(stick.volumes.size(), 2u);
    EXPECT_EQ(stick.volumes[0], (DiskVolume{"P2", "P2", std::nullopt, "Photos 2",
                                            "/media/u/Photos 2", 1017, 400, "ext4", false}));
}

TEST_F(SystemVolumeProviderTest, SkipsVolumesWhoseDeviceVanishedAndCountsEachFileSystemOnce) {
    const auto disks = list("40 27 8:17 /sub /mnt/bind rw - ext4 /dev/sdb1 rw\n"
                            "41 27 8:17 / /media/u/Photos rw - ext4 /dev/sdb1 rw\n"
                            "42 27 8:17 / /media/u/again rw - ext4 /dev/sdb1 rw\n"
                            "43 27 8:97 / /media/u/gone rw - ext4 /dev/sdz1 rw\n");
    ASSERT_EQ(disks.size(), 1u);
    EXPECT_EQ(disks[0].mountURLs(), std::vector<std::filesystem::path>{"/media/u/Photos"});
}

// Anyone can mount FUSE with any source text: only the device number, or for btrfs the
// file system's own UUID (the real-disk suite mounts both), ties a mount to a disk. A
// btrfs mount naming a device without btrfs ties to nothing.
TEST_F(SystemVolumeProviderTest, NothingMountedExternallyListsNothing) {
    EXPECT_TRUE(list("").empty());
    EXPECT_TRUE(list("40 27 0:60 / /media/u/m rw - btrfs /dev/sdb1 rw\n").empty());
    std::filesystem::remove(mountInfoPath);
    EXPECT_TRUE(list(std::nullopt).empty()) << "an unreadable mount table lists nothing";
}

// No UUID and no label: the volume goes by its mount path, decoded for the name only.
TEST_F(SystemVolumeProviderTest, NamesAreDecodedLossilyAndMountPathsKeptExact) {
    auto& properties = tree.nodes.at(tree.sources.at("/dev/sde1")).properties;
    properties.erase("ID_FS_UUID");
    properties.erase("ID_FS_LABEL_ENC");
    const auto longName = "/media/u/" + std::string(3800, 'd') + "/" + std::string(188, 'n');
    for (const auto& [field, mountPoint, name] : std::vector<std::array<std::string, 3>>{
             {"/media/u/a\\040b\\011c\\012d\\134e", "/media/u/a b\tc\nd\\e", "a b\tc\nd\\e"},
             {longName + "\\040\xff", longName + " \xff",
              std::string(188, 'n') + " \xEF\xBF\xBD"}}) {
        const auto disks = list("45 27 8:65 / " + field + " rw - ext4 /dev/sde1 rw\n");
        ASSERT_EQ(disks.size(), 1u);
        ASSERT_EQ(disks[0].volumes.size(), 1u);
        const auto& volume = disks[0].volumes[0];
        EXPECT_EQ(std::tie(disks[0].displayName, volume.mountURL, volume.id),
                  std::tie(name, mountPoint, mountPoint));
    }
}

} // namespace
} // namespace tovo
