#include "TovoCore/Models/CheckedArithmetic.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace tovo {
namespace {

using Size = std::optional<std::int64_t>;

DiskVolume volume(std::string id, std::optional<std::string> pool, Size total, Size available,
                  std::optional<std::string> format = {}) {
    return DiskVolume{id,    std::nullopt, std::move(pool),   id,   "/media/" + id,
                      total, available,    std::move(format), false};
}

ExternalDisk disk(std::vector<DiskVolume> volumes, Size physical = {}) {
    return ExternalDisk{"attachment:7",     "Disk",  std::nullopt, std::nullopt, 7u, "sdb",
                        std::move(volumes), physical};
}

using Sizes = std::pair<Size, Size>; // available, total

Sizes sizes(const ExternalDisk& d) {
    return {d.availableCapacity(), d.totalCapacity()};
}

TEST(ExternalDiskTest, CapacitiesCountEachStoreOnce) {
    EXPECT_EQ(sizes(disk({})), Sizes());
    EXPECT_EQ(sizes(disk({}, 64)), Sizes({}, 64));
    // Volumes of one pool, or without a pool of one id, count once with their smallest report.
    EXPECT_EQ(sizes(disk({volume("a", "apfs:4", 1000, 500), volume("b", "apfs:4", 1000, 480),
                          volume("c", {}, 300, 100)})),
              Sizes(580, 1300));
    EXPECT_EQ(sizes(disk({volume("s", {}, 10, 9), volume("s", {}, 20, 4)})), Sizes(4, 10));
    // Absent figures are skipped.
    EXPECT_EQ(sizes(disk({volume("a", "p", {}, 5), volume("b", "p", 7, {})})), Sizes(5, 7));
    EXPECT_EQ(sizes(disk({volume("a", "p", {}, {})})), Sizes());
    // A known physical size is the total, even when smaller, and plays no part in free space.
    EXPECT_EQ(sizes(disk({volume("a", {}, 900, 100), volume("b", {}, 900, 100)}, 1000)),
              Sizes(200, 1000));
}

TEST(ExternalDiskTest, FormatSummaryIsDistinctSortedAndOrderFree) {
    auto a = volume("a", {}, {}, {}, "ext4");
    auto b = volume("b", {}, {}, {}, "APFS");
    auto c = volume("c", {}, {}, {}, "ext4");
    auto none = volume("d", {}, {}, {});
    EXPECT_EQ(disk({a, b, c, none}).formatSummary(), "APFS + ext4");
    EXPECT_EQ(disk({c, none, b, a}).formatSummary(), "APFS + ext4");
    EXPECT_EQ(disk({}).formatSummary(), "External disk");
}

TEST(ExternalDiskTest, ThePrimaryMountURLIsTheFirstVolumes) {
    const auto d = disk({volume("b", {}, {}, {}), volume("a", {}, {}, {})});
    EXPECT_EQ(d.primaryMountURL(), std::filesystem::path("/media/b"));
    EXPECT_FALSE(disk({}).primaryMountURL());
}

TEST(ExternalDiskDeathTest, CapacityOverflowStopsTheProcess) {
    const auto max = std::numeric_limits<std::int64_t>::max();
    const auto d = disk({volume("a", {}, max, max), volume("b", {}, 1, 1)});
    EXPECT_DEATH((void)d.availableCapacity(), "");
    EXPECT_DEATH((void)checkedAdd<std::uint64_t>(std::numeric_limits<std::uint64_t>::max(), 1), "");
}

} // namespace
} // namespace tovo
