#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tovo {
namespace {

class ListedDisks final : public VolumeProviding {
public:
    std::vector<ExternalDisk> disks;
    int listings = 0;
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        ++listings;
        co_return disks;
    }
};

ExternalDisk chosenDisk() {
    auto disk = testing::makeDisk(41, "STICK");
    disk.mediaUUID = "TABLE-1";
    disk.volumes.push_back(testing::makeVolume("VOL-B", "/media/user/B"));
    disk.volumes.push_back(DiskVolume{"/media/user/NOUUID", std::nullopt, std::nullopt, "C",
                                      "/media/user/NOUUID", std::nullopt, std::nullopt,
                                      std::nullopt, false});
    return disk;
}

struct ValidationCase {
    const char* label;
    std::function<void(ExternalDisk& listed)> change;
    bool passes;
};

class DiskIdentityValidatorTest : public ::testing::TestWithParam<ValidationCase> {};

TEST_P(DiskIdentityValidatorTest, ComparesTheIdentityFacts) {
    ManualExecutor executor;
    ListedDisks provider;
    auto listed = chosenDisk();
    GetParam().change(listed);
    provider.disks = {testing::makeDisk(5, "OTHER"), listed};
    SystemDiskIdentityValidator validator(provider);

    auto handle = spawn(executor, validator.validate(chosenDisk()));
    executor.runAll();
    ASSERT_TRUE(handle.isDone());
    if (GetParam().passes) {
        EXPECT_FALSE(handle.error());
        return;
    }
    ASSERT_TRUE(handle.error());
    try {
        std::rethrow_exception(handle.error());
    } catch (const EjectionFailure& failure) {
        EXPECT_EQ(failure,
                  EjectionFailure("The disk identity changed. Refresh the list and try again.",
                                  std::nullopt, EjectionFailureKind::identityChanged, std::nullopt,
                                  std::nullopt));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Changes, DiskIdentityValidatorTest,
    ::testing::Values(
        ValidationCase{"unchanged", [](auto&) {}, true},
        ValidationCase{"renamed_and_resized_and_reordered",
                       [](auto& d) {
                           d.displayName = "Renamed";
                           d.deviceName = "Other model";
                           d.physicalCapacity = 5;
                           d.volumes[0].name = "New name";
                           std::swap(d.volumes[0], d.volumes[2]);
                       },
                       true},
        ValidationCase{"mount_paths_with_redundant_steps",
                       [](auto& d) {
                           d.volumes[0].mountURL = "/media/user/./x/../STICK";
                           d.volumes[1].mountURL = "/media//user/B";
                       },
                       true},
        ValidationCase{"replugged_new_attachment",
                       [](auto& d) {
                           d.attachmentID = 42;
                           d.id = "attachment:42";
                       },
                       false},
        ValidationCase{"reformatted_new_volume_uuid",
                       [](auto& d) { d.volumes[1].volumeUUID = "VOL-B2"; }, false},
        ValidationCase{"volume_unmounted", [](auto& d) { d.volumes.pop_back(); }, false},
        ValidationCase{"mounted_elsewhere",
                       [](auto& d) { d.volumes[2].mountURL = "/media/user/NOUUID1"; }, false},
        ValidationCase{"media_uuid_now_unknown", [](auto& d) { d.mediaUUID.reset(); }, false},
        ValidationCase{"media_uuid_changed", [](auto& d) { d.mediaUUID = "TABLE-2"; }, false}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(DiskIdentityValidatorTest, DiskWithoutAttachmentFailsWithoutListing) {
    ManualExecutor executor;
    ListedDisks provider;
    auto disk = chosenDisk();
    disk.attachmentID.reset();
    provider.disks = {disk};
    SystemDiskIdentityValidator validator(provider);
    auto handle = spawn(executor, validator.validate(disk));
    executor.runAll();
    EXPECT_TRUE(handle.error());
    EXPECT_EQ(provider.listings, 0);
}

TEST(DiskIdentityValidatorTest, BothMediaUUIDsAbsentPass) {
    auto disk = chosenDisk();
    disk.mediaUUID.reset();
    EXPECT_TRUE(SystemDiskIdentityValidator::matches(disk, {disk}));
}

} // namespace
} // namespace tovo
