#include "TovoCore/Models/CheckedArithmetic.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tovo {
namespace {

DiskVolume volume(std::string id, std::optional<std::string> pool,
                  std::optional<std::int64_t> total, std::optional<std::int64_t> available,
                  std::optional<std::string> format = {}) {
    return DiskVolume{id,    std::nullopt, std::move(pool),   id,   "/media/" + id,
                      total, available,    std::move(format), false};
}

ExternalDisk disk(std::vector<DiskVolume> volumes, std::optional<std::int64_t> physical = {}) {
    return ExternalDisk{"attachment:7",     "Disk",  std::nullopt, std::nullopt, 7u, "sdb",
                        std::move(volumes), physical};
}

TEST(ExternalDiskTest, DiskWithoutVolumesHasOnlyItsPhysicalSize) {
    const auto empty = disk({});
    EXPECT_FALSE(empty.primaryMountURL());
    EXPECT_TRUE(empty.mountURLs().empty());
    EXPECT_EQ(empty.formatSummary(), "External disk");
    EXPECT_FALSE(empty.availableCapacity());
    EXPECT_FALSE(empty.totalCapacity());
    EXPECT_EQ(disk({}, 64).totalCapacity(), 64);
}

TEST(ExternalDiskTest, PooledVolumesCountOnceWithTheirSmallestReport) {
    const auto d = disk({volume("a", "apfs:disk4", 1000, 500), volume("b", "apfs:disk4", 1000, 480),
                         volume("c", std::nullopt, 300, 100)});
    EXPECT_EQ(d.availableCapacity(), 580);
    EXPECT_EQ(d.totalCapacity(), 1300);
}

TEST(ExternalDiskTest, VolumesWithoutPoolButSameIdShareTheirKey) {
    const auto d = disk({volume("same", std::nullopt, 10, 9), volume("same", std::nullopt, 20, 4)});
    EXPECT_EQ(d.availableCapacity(), 4);
    EXPECT_EQ(d.totalCapacity(), 10);
}

TEST(ExternalDiskTest, AbsentFiguresAreSkippedAndAllAbsentIsAbsent) {
    EXPECT_EQ(disk({volume("a", "p", std::nullopt, 5), volume("b", "p", 7, std::nullopt)})
                  .availableCapacity(),
              5);
    EXPECT_FALSE(disk({volume("a", "p", std::nullopt, std::nullopt)}).totalCapacity());
}

TEST(ExternalDiskTest, PhysicalSizeWinsEvenWhenSmallerThanTheVolumes) {
    const auto d =
        disk({volume("a", std::nullopt, 900, 100), volume("b", std::nullopt, 900, 100)}, 1000);
    EXPECT_EQ(d.totalCapacity(), 1000);
    EXPECT_EQ(d.availableCapacity(), 200); // physical size plays no part in free space
}

TEST(ExternalDiskTest, FormatSummaryIsDistinctSortedAndOrderFree) {
    auto a = volume("a", {}, {}, {}, "ext4");
    auto b = volume("b", {}, {}, {}, "APFS");
    auto c = volume("c", {}, {}, {}, "ext4");
    auto none = volume("d", {}, {}, {});
    EXPECT_EQ(disk({a, b, c, none}).formatSummary(), "APFS + ext4");
    EXPECT_EQ(disk({c, none, b, a}).formatSummary(), "APFS + ext4");
}

TEST(ExternalDiskTest, MountURLsKeepOrderAndDuplicates) {
    const auto d =
        disk({volume("b", {}, {}, {}), volume("a", {}, {}, {}), volume("b", {}, {}, {})});
    EXPECT_EQ(d.primaryMountURL(), std::filesystem::path("/media/b"));
    EXPECT_EQ(d.mountURLs(),
              (std::vector<std::filesystem::path>{"/media/b", "/media/a", "/media/b"}));
}

TEST(ExternalDiskDeathTest, CapacityOverflowStopsTheProcess) {
    const auto max = std::numeric_limits<std::int64_t>::max();
    const auto d = disk({volume("a", {}, max, max), volume("b", {}, 1, 1)});
    EXPECT_DEATH((void)d.availableCapacity(), "");
    EXPECT_DEATH((void)checkedAdd<std::uint64_t>(std::numeric_limits<std::uint64_t>::max(), 1), "");
}

} // namespace
} // namespace tovo
