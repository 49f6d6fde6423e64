#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tovo {
namespace {

ExternalDisk chosenDisk() {
    auto disk = testing::makeDisk(41, "STICK");
    disk.mediaUUID = "TABLE-1";
    disk.volumes.push_back(testing::makeVolume("VOL-B", "/media/user/B"));
    disk.volumes.push_back(testing::makeVolume("/media/user/NOUUID", "/media/user/NOUUID"));
    disk.volumes.back().volumeUUID.reset();
    return disk;
}

struct ValidationCase {
    const char* label;
    std::function<void(ExternalDisk& listed)> change;
    bool passes;
};

TEST(DiskIdentityValidatorTest, ComparesTheIdentityFacts) {
    const std::vector<ValidationCase> rows{
        {"renamed_resized_reordered_paths_with_redundant_steps",
         [](auto& d) {
             d.displayName = d.volumes[0].name = "New", d.physicalCapacity = 5;
             d.volumes[0].mountURL = "/media/user/./x/../STICK";
             d.volumes[1].mountURL = "/media//user/B";
             std::swap(d.volumes[0], d.volumes[2]);
         },
         true},
        {"replugged", [](auto& d) { d.attachmentID = 42; }, false},
        {"reformatted", [](auto& d) { d.volumes[1].volumeUUID = "VOL-B2"; }, false},
        // An eject refused as busy may have unmounted the idle volumes already.
        {"volumes_unmounted", [](auto& d) { d.volumes.resize(1); }, true},
        {"mounted_elsewhere", [](auto& d) { d.volumes[2].mountURL = "/media/user/NOUUID1"; },
         false},
        {"media_uuid_changed", [](auto& d) { d.mediaUUID = "TABLE-2"; }, false}};
    for (const auto& c : rows) {
        SCOPED_TRACE(c.label);
        auto listed = chosenDisk();
        c.change(listed);
        const auto proved = SystemDiskIdentityValidator::match(
            chosenDisk(), {testing::makeDisk(5, "OTHER"), listed});
        EXPECT_EQ(proved, c.passes ? std::optional(listed) : std::nullopt);
    }
}

class ListedDisks final : public VolumeProviding {
public:
    std::vector<ExternalDisk> disks;
    int listings = 0;
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        ++listings;
        co_return disks;
    }
};

TEST(DiskIdentityValidatorTest, ValidatesAgainstAFreshListing) {
    ManualExecutor executor;
    ListedDisks provider;
    SystemDiskIdentityValidator validator(provider);
    auto disk = chosenDisk();
    provider.disks = {disk};
    auto passed = spawn(executor, validator.validate(disk));
    disk.attachmentID.reset();
    auto unattached = spawn(executor, validator.validate(disk));
    executor.runAll();

    EXPECT_TRUE(passed.isDone() && !passed.error());
    EXPECT_EQ(provider.listings, 1) << "a disk without attachment fails without listing";
    EXPECT_EQ(readableMessage(unattached.error()),
              "The disk identity changed. Refresh the list and try again.");
}

} // namespace
} // namespace tovo
