#include "TovoSystem/Services/SystemVolumeProvider.hpp"

#include "DiskFakeDeviceTree.hpp"
#include "TovoSystem/Services/CapacityPoolIdentifier.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace tovo {
namespace {

using testing::FakeDeviceTree;
using testing::fileSystem;

class SystemVolumeProviderTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing::addInternalDisk(tree, "sda", 1, {{}, fileSystem("ROOT-UUID", "root")});
        testing::addUsbDisk(tree, "sdb", 41, true,
                            {{"ID_VENDOR", "SanDisk"}, {"ID_MODEL", "Cruzer"}},
                            {fileSystem("P10", "Photos\\x2010"), fileSystem("P2", "Photos\\x202")});
        testing::addUsbDisk(tree, "sdc", 42, true, {},
                            {fileSystem("B", "Beta", "exfat"), fileSystem("A", "alpha", "vfat")},
                            "2-2");
        testing::addUsbDisk(tree, "sdd", 43, false, {}, {fileSystem("K2", "Backup\\x202")}, "2-3");
        testing::addUsbDisk(tree, "sde", 44, false, {}, {fileSystem("K10", "Backup\\x2010")},
                            "2-4");
        testing::addLoopImage(tree, "loop0", 9, fileSystem("IMG", "Image"));
    }

    void TearDown() override { std::filesystem::remove(mountInfoPath); }

    void writeMountInfo(const std::string& text) {
        std::ofstream(mountInfoPath, std::ios::binary) << text;
    }

    std::vector<ExternalDisk> list() {
        auto shared = std::make_shared<FakeDeviceTree>(tree);
        SystemVolumeProvider provider(
            executor,
            VolumeListingSources{
                mountInfoPath, [shared] { return std::make_unique<FakeDeviceTree>(*shared); },
                [](const std::filesystem::path& path) {
                    return VolumeCapacity{1000 + std::int64_t(path.string().size()), 400};
                },
                "en_US"});
        return testing::runToEnd(executor, provider.mountedExternalDisks());
    }

    ManualExecutor executor;
    FakeDeviceTree tree;
    // One file per process: ctest runs tests of this suite side by side.
    std::filesystem::path mountInfoPath = std::filesystem::path(::testing::TempDir()) /
                                          ("tovo-mountinfo-" + std::to_string(::getpid()));
};

constexpr const char* systemMounts = "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                                     "27 1 8:2 / / rw,relatime - ext4 /dev/sda2 rw\n"
                                     "30 27 0:27 / /tmp rw - tmpfs tmpfs rw\n"
                                     "31 27 0:50 / /net/share rw - nfs4 server:/export rw\n"
                                     "32 27 0:51 / /home/u/fuse rw - fuse.sshfs u@host:/ rw\n"
                                     "33 27 7:0 / /media/u/Image ro - ext4 /dev/loop0 ro\n";

TEST_F(SystemVolumeProviderTest, ListsOnlyDetachableHardwareInFileBrowserOrder) {
    writeMountInfo(std::string(systemMounts) +
                   "40 27 8:17 / /media/u/Photos\\04010 rw - ext4 /dev/sdb1 rw\n"
                   "41 27 8:18 / /media/u/Photos\\0402 rw - ext4 /dev/sdb2 rw\n"
                   "42 27 8:33 / /media/u/Beta rw - exfat /dev/sdc1 rw\n"
                   "43 27 8:34 / /media/u/alpha rw - vfat /dev/sdc2 rw\n"
                   "44 27 8:49 / /media/u/Backup\\0402 ro,nosuid - ext4 /dev/sdd1 rw\n"
                   "45 27 8:65 / /media/u/Backup\\04010 rw - ext4 /dev/sde1 rw\n");
    const auto disks = list();
    ASSERT_EQ(disks.size(), 4u);
    EXPECT_EQ(disks[0].displayName, "alpha + Beta");
    EXPECT_EQ(disks[1].displayName + ", " + disks[2].displayName, "Backup 2, Backup 10");

    const auto& stick = disks[3];
    EXPECT_EQ(stick.displayName, "SanDisk Cruzer");
    EXPECT_EQ(stick.id, "attachment:41");
    ASSERT_EQ(stick.volumes.size(), 2u);
    EXPECT_EQ(stick.volumes[0], (DiskVolume{"P2", "P2", std::nullopt, "Photos 2",
                                            "/media/u/Photos 2", 1017, 400, "ext4", false}));
    EXPECT_EQ(stick.volumes[1].name, "Photos 10");

    EXPECT_EQ(disks[0].formatSummary(), "ExFAT + FAT");
    EXPECT_TRUE(disks[1].volumes[0].isReadOnly && !disks[2].volumes[0].isReadOnly);
}

TEST_F(SystemVolumeProviderTest, SkipsVolumesWhoseDeviceVanishedAndCountsEachFileSystemOnce) {
    writeMountInfo(std::string(systemMounts) +
                   "40 27 8:17 /sub /mnt/bind rw - ext4 /dev/sdb1 rw\n"
                   "41 27 8:17 / /media/u/Photos rw - ext4 /dev/sdb1 rw\n"
                   "42 27 8:17 / /media/u/again rw - ext4 /dev/sdb1 rw\n"
                   "43 27 8:97 / /media/u/gone rw - ext4 /dev/sdz1 rw\n");
    const auto disks = list();
    ASSERT_EQ(disks.size(), 1u);
    ASSERT_EQ(disks[0].volumes.size(), 1u);
    EXPECT_EQ(disks[0].volumes[0].mountURL, "/media/u/Photos");
    EXPECT_EQ(disks[0].displayName, "Photos 10") << "one volume: its own name, not the model";
}

TEST_F(SystemVolumeProviderTest, NamesComeFromLabelsOrHostileMountPaths) {
    tree.nodes.at(tree.sources.at("/dev/sdd1")).properties["ID_FS_LABEL_ENC"] = "Bad\\xff";
    tree.nodes.at(tree.sources.at("/dev/sde1")).properties.erase("ID_FS_LABEL_ENC");
    tree.nodes.at(tree.sources.at("/dev/sde1")).properties.erase("ID_FS_UUID");
    writeMountInfo(std::string(systemMounts) +
                   "44 27 8:49 / /media/u/x rw - ext4 /dev/sdd1 rw\n"
                   "45 27 8:65 / /media/u/a\\040b\\011c\\012d\\134e rw - ext4 /dev/sde1 rw\n");
    const auto disks = list();
    ASSERT_EQ(disks.size(), 2u);
    EXPECT_EQ(disks[0].displayName, "a b\tc\nd\\e");
    EXPECT_EQ(disks[0].volumes[0].id, "/media/u/a b\tc\nd\\e") << "no UUID: the mount path";
    EXPECT_EQ(disks[0].volumes[0].volumeUUID, std::nullopt);
    EXPECT_EQ(disks[1].displayName, "Bad\xEF\xBF\xBD");
}

TEST_F(SystemVolumeProviderTest, NothingMountedExternallyListsNothing) {
    writeMountInfo(systemMounts);
    EXPECT_TRUE(list().empty());
    std::filesystem::remove(mountInfoPath);
    EXPECT_TRUE(list().empty()) << "an unreadable mount table lists nothing";
}

TEST(CapacityPoolIdentifierTest, PoolsOnlyApfsVolumesByContainer) {
    EXPECT_EQ(CapacityPoolIdentifier::make(std::nullopt, "disk4", "io:77"), std::nullopt);
    EXPECT_EQ(CapacityPoolIdentifier::make("exfat", "disk4", "io:77"), std::nullopt);
    EXPECT_EQ(CapacityPoolIdentifier::make(" APFS\n", "disk4", "io:77"), "apfs:disk4");
    EXPECT_EQ(CapacityPoolIdentifier::make("apfs", std::nullopt, "io:77"), "apfs:io:77");
}

} // namespace
} // namespace tovo
