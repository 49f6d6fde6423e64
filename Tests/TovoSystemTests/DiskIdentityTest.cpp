#include "DiskFakeDeviceTree.hpp"
#include "TovoSystem/Services/DiskIdentityResolver.hpp"
#include "TovoSystem/Services/DiskIdentityWalk.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tovo {
namespace {

using testing::FakeDeviceTree;

struct ResolveCase {
    const char* label;
    std::function<void(FakeDeviceTree&)> build;
    std::string source;
    std::string groupingID;
    std::optional<std::uint64_t> attachmentID;
    bool isVirtual;
    std::string logicalWholeDisk;
};

class DiskIdentityResolveTest : public ::testing::TestWithParam<ResolveCase> {};

TEST_P(DiskIdentityResolveTest, GroupsAndIdentifiesTheWholeDisk) {
    const auto& c = GetParam();
    FakeDeviceTree tree;
    c.build(tree);
    const auto resolved = DiskIdentityResolver(tree).resolve(tree.named(c.source));
    ASSERT_TRUE(resolved.resolved.identity);
    EXPECT_EQ(resolved.resolved.identity->groupingID, c.groupingID);
    EXPECT_EQ(resolved.resolved.identity->attachmentID, c.attachmentID);
    EXPECT_EQ(resolved.resolved.isVirtual, c.isVirtual);
    EXPECT_EQ(resolved.resolved.logicalWholeDiskIdentifier, c.logicalWholeDisk);
}

const std::string sdfPath =
    "/devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0/block/sdf";
const std::string sdgPath =
    "/devices/pci0000:00/0000:00:14.0/usb2/2-2/2-2:1.0/host6/target6:0:0/6:0:0:0/block/sdg";

INSTANTIATE_TEST_SUITE_P(
    Devices, DiskIdentityResolveTest,
    ::testing::Values(ResolveCase{"external_interconnect_without_removable_flag",
                                  [](auto& t) {
                                      testing::addUsbDisk(t, "sdc", 42, false, {}, {{}, {}});
                                  },
                                  "/dev/sdc2", "io:42", 42, false, "sdc"},
                      ResolveCase{"internal_disk_groups_logically",
                                  [](auto& t) {
                                      testing::addInternalDisk(t, "sda", 1, {{}, {}});
                                  },
                                  "/dev/sda2", "logical:sda", std::nullopt, false, "sda"},
                      ResolveCase{"disk_image_by_backing_file",
                                  [](auto& t) { testing::addLoopImage(t, "loop0", 9, {}); },
                                  "/dev/loop0", "logical:loop0", std::nullopt, true, "loop0"},
                      ResolveCase{"virtual_device_without_backing_file",
                                  [](auto& t) { testing::addLoopImage(t, "zram0", 10, {}, false); },
                                  "/dev/zram0", "logical:zram0", std::nullopt, true, "zram0"},
                      ResolveCase{"encrypted_volume_on_usb_resolves_through_its_slave",
                                  [](auto& t) {
                                      testing::addUsbDisk(t, "sdf", 44, false, {}, {{}});
                                      t.addStacked("dm-0", {sdfPath + "/sdf1"});
                                  },
                                  "/dev/dm-0", "io:44", 44, false, "sdf"},
                      ResolveCase{"raid_over_two_disks_is_not_followed",
                                  [](auto& t) {
                                      testing::addUsbDisk(t, "sdf", 45, true, {}, {});
                                      testing::addUsbDisk(t, "sdg", 46, true, {}, {}, "2-2");
                                      t.addStacked("md0", {sdfPath, sdgPath});
                                  },
                                  "/dev/md0", "logical:md0", std::nullopt, false, "md0"}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(DiskIdentityResolveTest, ReportsTheWholeDiskFacts) {
    FakeDeviceTree tree;
    testing::addUsbDisk(tree, "sdb", 41, true,
                        {{"ID_PART_TABLE_UUID", "5f2c1e7a-01"},
                         {"ID_VENDOR_ENC", "SanDisk\\x20"},
                         {"ID_MODEL_ENC", "Cruzer\\x20Blade\\x20\\x20"}},
                        {testing::fileSystem("AB12-CD34", "STICK\\x202", "vfat")});
    const auto resolved = DiskIdentityResolver(tree).resolve(tree.named("/dev/sdb1"));
    ASSERT_TRUE(resolved.resolved.identity);
    EXPECT_EQ(*resolved.resolved.identity,
              (WholeDiskIdentity{"io:41", 41, "5f2c1e7a-01", "sdb", "SanDisk Cruzer Blade",
                                 2'000'000LL * 512}));
    EXPECT_EQ(resolved.fileSystemUUID(), "AB12-CD34");
    EXPECT_EQ(resolved.fileSystemLabel(), "STICK 2");
    EXPECT_EQ(resolved.fileSystemType(), "vfat");
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
    EXPECT_EQ(DiskIdentityChoice::choose(std::nullopt, logical)->groupingID, "logical:sdb");
    EXPECT_EQ(DiskIdentityChoice::choose(std::nullopt, {std::nullopt, "U-1", {}, std::nullopt})
                  ->groupingID,
              "logical-media:U-1");
    EXPECT_EQ(DiskIdentityChoice::choose(std::nullopt, {}), std::nullopt);
}

TEST(DiskIdentityWalkTest, TheHighestWholeDiskWinsAndFlagsStick) {
    FakeDeviceTree tree;
    tree.add("/devices/virtual/block/dm-1", "block", "disk", 90).isRemovable = true;
    tree.add("/devices/usb1/1-1", "usb");
    tree.add("/devices/pci/block/sdz", "block", "disk", 12);
    tree.add("/devices/pci", "pci");
    std::vector<DeviceNode> chain;
    for (const auto* path : {"/devices/virtual/block/dm-1", "/devices/usb1/1-1",
                             "/devices/pci/block/sdz", "/devices/pci"}) {
        chain.push_back(tree.nodes.at(path));
    }
    const auto result = DiskIdentityWalk::scan(chain);
    ASSERT_TRUE(result.scan.physicalMedia);
    EXPECT_EQ(result.scan.physicalMedia->registryEntryID, 12u);
    EXPECT_TRUE(result.scan.isVirtual) << "virtual seen low in the chain sticks";
    EXPECT_TRUE(result.isExternal);
    EXPECT_FALSE(result.isRemovable) << "removable is the winning candidate's own flag";

    // Without a disk sequence, udev's initialisation time identifies the disk.
    auto disk = tree.add("/devices/usb1/1-1/block/sdq", "block", "disk");
    disk.isRemovable = true;
    EXPECT_FALSE(DiskIdentityWalk::scan({disk}).scan.physicalMedia);
    disk.initializedMicroseconds = 5'000'123;
    EXPECT_EQ(DiskIdentityWalk::scan({disk}).scan.physicalMedia->registryEntryID, 5000123u);
}

} // namespace
} // namespace tovo
