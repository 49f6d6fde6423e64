#include "TovoSystem/Services/FileManagerDiskEjector.hpp"

#include "Support/ModelBuilders.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

class FakeUnmounter final : public Unmounter {
public:
    std::optional<UnmountError> refusal;
    std::vector<ProvedDisk> calls;

    Task<void> unmountAndEject(ProvedDisk disk) override {
        calls.push_back(std::move(disk));
        if (refusal) {
            throw *refusal;
        }
        co_return;
    }
};

EjectionFailure failure(std::string message, EjectionFailureKind kind,
                        std::optional<std::string> domain = std::nullopt,
                        std::optional<std::int32_t> dissenter = std::nullopt,
                        std::optional<std::int32_t> code = std::nullopt) {
    return EjectionFailure(std::move(message), dissenter, kind, std::move(domain), code);
}

const std::string changedMessage = "The disk identity changed. Refresh the list and try again.";

class FakeValidator final : public DiskIdentityValidating {
public:
    bool changed = false;
    std::optional<ExternalDisk> listedNow; ///< absent: listed as it was chosen
    Task<ExternalDisk> validate(ExternalDisk disk) override {
        if (changed) {
            throw failure(changedMessage, EjectionFailureKind::identityChanged);
        }
        co_return listedNow.value_or(std::move(disk));
    }
};

class FileManagerDiskEjectorTest : public ::testing::Test {
protected:
    std::optional<EjectionFailure> eject(ExternalDisk disk) {
        try {
            testing::runToEnd(executor, ejector.eject(std::move(disk)));
        } catch (const EjectionFailure& failure) {
            return failure;
        }
        return std::nullopt;
    }

    ManualExecutor executor;
    FakeUnmounter unmounter;
    FakeValidator validator;
    FileManagerDiskEjector ejector{unmounter, validator};
};

TEST_F(FileManagerDiskEjectorTest, UnmountsOnlyAMountedDiskWhoseIdentityIsProved) {
    auto unmounted = testing::makeDisk(7);
    unmounted.volumes.clear();
    EXPECT_EQ(eject(unmounted),
              failure("This disk is no longer mounted.", EjectionFailureKind::identityChanged));
    validator.changed = true;
    EXPECT_EQ(eject(testing::makeDisk(7))->kind, EjectionFailureKind::identityChanged);
    validator.changed = false;
    // Without both the kernel name and the attachment, nothing can hold the device to it.
    auto unnamed = testing::makeDisk(7);
    unnamed.wholeDiskIdentifier.reset();
    auto unattached = testing::makeDisk(7);
    unattached.attachmentID.reset();
    for (const auto& disk : {unnamed, unattached}) {
        EXPECT_EQ(eject(disk), failure(changedMessage, EjectionFailureKind::identityChanged));
    }
    EXPECT_TRUE(unmounter.calls.empty());

    auto disk = testing::makeDisk(7, "STICK");
    disk.volumes.push_back(testing::makeVolume("VOL-8", "/media/user/STICK2"));
    EXPECT_EQ(eject(disk), std::nullopt);
    EXPECT_EQ(unmounter.calls,
              (std::vector<ProvedDisk>{{"sdb", 7, {"/media/user/STICK", "/media/user/STICK2"}}}));

    // After a partial unmount only what is still mounted is handed over.
    validator.listedNow = testing::makeDisk(7, "STICK");
    EXPECT_EQ(eject(disk), std::nullopt);
    EXPECT_EQ(unmounter.calls.back(), (ProvedDisk{"sdb", 7, {"/media/user/STICK"}}));
}

TEST_F(FileManagerDiskEjectorTest, MapsTheRefusal) {
    const std::string busyName = "org.freedesktop.UDisks2.Error.DeviceBusy";
    const std::string busyText = "Error unmounting /dev/sdb1: target is busy";
    const std::string failedName = "org.freedesktop.UDisks2.Error.Failed";
    const std::string inUseText = "A file system of this disk is still mounted elsewhere.";
    constexpr auto busy = EjectionFailureKind::busy;
    for (const auto& [refusal, expected] : std::vector<std::pair<UnmountError, EjectionFailure>>{
             {UnmountError(busyName, busyText, 14, 4242),
              failure(busyText, busy, busyName, 4242, 14)},
             // Another failure keeps its dissenter.
             {UnmountError(failedName, "Error", {}, 99),
              failure("Error", EjectionFailureKind::other, failedName, 99)},
             {UnmountError(UnmountError::stillInUseName, inUseText),
              failure(inUseText, busy, UnmountError::stillInUseName)},
             // A changed disk says so as the check does.
             {UnmountError(UnmountError::identityChangedName, "sdb changed"),
              failure(changedMessage, EjectionFailureKind::identityChanged,
                      UnmountError::identityChangedName)}}) {
        unmounter.refusal = refusal;
        EXPECT_EQ(eject(testing::makeDisk(7)), expected) << refusal.name;
    }
}

} // namespace
} // namespace tovo
