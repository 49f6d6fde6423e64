#include "TovoSystem/Services/SystemVolumeProvider.hpp"

#include "DiskFakeDeviceTree.hpp"
#include "TovoSystem/Services/CapacityPoolIdentifier.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <unistd.h>

namespace tovo {
namespace {

using testing::FakeDeviceTree;
using testing::fileSystem;

constexpr const char* poolUUID = "8baf05a5-ed29-4c25-941b-b5a47f026a3c";

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
        testing::addUsbDisk(tree, "sdf", 45, true, {}, {fileSystem(poolUUID, "Pool", "btrfs")},
                            "2-5");
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
                "en_US",
                [uuids = btrfsUUIDs](const MountEntry& mount) -> std::optional<std::string> {
                    const auto found = uuids.find(mount.mountPoint);
                    return found == uuids.end() ? std::nullopt : std::optional(found->second);
                }});
        return testing::runToEnd(executor, provider.mountedExternalDisks());
    }

    ManualExecutor executor;
    FakeDeviceTree tree;
    std::map<std::string, std::string> btrfsUUIDs; ///< what each btrfs mount says of itself
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

/// "disk id: volume id" for every listed volume.
std::vector<std::string> joined(const std::vector<ExternalDisk>& disks) {
    std::vector<std::string> result;
    for (const auto& disk : disks) {
        for (const auto& volume : disk.volumes) {
            result.push_back(disk.id + ": " + volume.id);
        }
    }
    return result;
}

struct JoinCase {
    const char* label;
    std::string mount;                    ///< a mountinfo line
    std::optional<std::string> btrfsUUID; ///< what the mounted file system says
    std::vector<std::string> joined;
};

class SystemVolumeJoinTest : public SystemVolumeProviderTest,
                             public ::testing::WithParamInterface<JoinCase> {};

// Anyone can mount FUSE with any source text, and root a tmpfs: only the device
// number, or for btrfs the file system's own UUID, ties a mount to a disk.
TEST_P(SystemVolumeJoinTest, AMountJoinsOnlyTheDeviceItReallySitsOn) {
    const auto& c = GetParam();
    if (c.btrfsUUID) {
        btrfsUUIDs["/media/u/m"] = *c.btrfsUUID;
    }
    writeMountInfo(std::string(systemMounts) + c.mount + "\n");
    EXPECT_EQ(joined(list()), c.joined);
}

INSTANTIATE_TEST_SUITE_P(
    Mounts, SystemVolumeJoinTest,
    ::testing::Values(JoinCase{"device_number_of_the_partition",
                               "40 27 8:17 / /media/u/m rw - ext4 /dev/sdb1 rw",
                               {},
                               {"attachment:41: P10"}},
                      JoinCase{"fuse_subtype_naming_the_partition",
                               "40 27 0:61 / /media/u/m rw,nosuid - fuse.sshfs /dev/sdb1 rw",
                               {},
                               {}},
                      JoinCase{"fuse_naming_the_partition",
                               "40 27 0:62 / /media/u/m rw - fuse /dev/sdb1 rw",
                               {},
                               {}},
                      JoinCase{"tmpfs_naming_the_partition",
                               "40 27 0:64 / /media/u/m rw - tmpfs /dev/sdb1 rw",
                               {},
                               {}},
                      JoinCase{"number_of_another_device_wins_over_the_text",
                               "40 27 8:33 / /media/u/m rw - exfat /dev/sdb1 rw",
                               {},
                               {"attachment:42: B"}},
                      JoinCase{"btrfs_whose_uuid_the_named_device_carries",
                               "40 27 0:60 /@ /media/u/m rw - btrfs /dev/sdf1 rw",
                               poolUUID,
                               {std::string("attachment:45: ") + poolUUID}},
                      JoinCase{"btrfs_with_another_uuid",
                               "40 27 0:60 / /media/u/m rw - btrfs /dev/sdf1 rw",
                               "0e3c9a4d-1111-4c25-941b-b5a47f026a3c",
                               {}},
                      JoinCase{"btrfs_whose_uuid_cannot_be_read",
                               "40 27 0:60 / /media/u/m rw - btrfs /dev/sdf1 rw",
                               std::nullopt,
                               {}},
                      JoinCase{"btrfs_naming_a_device_that_is_not_btrfs",
                               "40 27 0:60 / /media/u/m rw - btrfs /dev/sdb1 rw",
                               "P10",
                               {}},
                      JoinCase{"fuse_calling_itself_btrfs",
                               "40 27 0:63 / /media/u/m rw - fuse.btrfs /dev/sdf1 rw",
                               poolUUID,
                               {}}),
    [](const auto& info) { return std::string(info.param.label); });

/// The field as the kernel writes it: space, tab, newline and backslash in octal.
std::string mountInfoField(const std::string& path) {
    std::string field;
    for (const char c : path) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\\') {
            const auto byte = static_cast<unsigned char>(c);
            field += '\\';
            field += char('0' + (byte >> 6));
            field += char('0' + ((byte >> 3) & 7));
            field += char('0' + (byte & 7));
        } else {
            field += c;
        }
    }
    return field;
}

struct HostileNameCase {
    const char* label;
    std::string mountPoint;
    std::string labelEncoded; ///< udev's ID_FS_LABEL_ENC; empty: none
    std::string name;
};

class SystemVolumeNameTest : public SystemVolumeProviderTest,
                             public ::testing::WithParamInterface<HostileNameCase> {};

TEST_P(SystemVolumeNameTest, NamesAreDecodedLossilyAndMountPathsKeptExact) {
    const auto& c = GetParam();
    auto& properties = tree.nodes.at(tree.sources.at("/dev/sde1")).properties;
    properties.erase("ID_FS_UUID");
    properties.erase("ID_FS_LABEL_ENC");
    if (!c.labelEncoded.empty()) {
        properties["ID_FS_LABEL_ENC"] = c.labelEncoded;
    }
    writeMountInfo(std::string(systemMounts) + "45 27 8:65 / " + mountInfoField(c.mountPoint) +
                   " rw - ext4 /dev/sde1 rw\n");
    const auto disks = list();
    ASSERT_EQ(disks.size(), 1u);
    ASSERT_EQ(disks[0].volumes.size(), 1u);
    EXPECT_EQ(disks[0].displayName, c.name);
    EXPECT_EQ(disks[0].volumes[0].mountURL, c.mountPoint);
    EXPECT_EQ(disks[0].volumes[0].id, c.mountPoint) << "no UUID: the mount path";
    EXPECT_EQ(disks[0].volumes[0].volumeUUID, std::nullopt);
}

const std::string longFolder = "/media/u/" + std::string(3800, 'd') + "/";

INSTANTIATE_TEST_SUITE_P(
    Paths, SystemVolumeNameTest,
    ::testing::Values(
        HostileNameCase{"escaped_characters", "/media/u/a b\tc\nd\\e", "", "a b\tc\nd\\e"},
        HostileNameCase{"invalid_utf8", "/media/u/\xff\xc3x", "", "\xEF\xBF\xBD\xEF\xBF\xBDx"},
        HostileNameCase{"four_thousand_bytes", longFolder + std::string(188, 'n') + " \xff", "",
                        std::string(188, 'n') + " \xEF\xBF\xBD"},
        HostileNameCase{"label_with_invalid_utf8", "/media/u/x", "Bad\\xff", "Bad\xEF\xBF\xBD"}),
    [](const auto& info) { return std::string(info.param.label); });

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
