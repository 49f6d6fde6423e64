#include "TovoSystem/Services/FileManagerDiskEjector.hpp"

#include "Support/ModelBuilders.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

class FakeUnmounter final : public Unmounter {
public:
    std::optional<UnmountError> refusal;
    std::vector<std::pair<std::filesystem::path, std::optional<std::string>>> calls;

    Task<void> unmountAndEject(std::filesystem::path mountPath,
                               std::optional<std::string> wholeDisk) override {
        calls.emplace_back(std::move(mountPath), std::move(wholeDisk));
        if (refusal) {
            throw *refusal;
        }
        co_return;
    }
};

class FakeValidator final : public DiskIdentityValidating {
public:
    bool changed = false;
    Task<void> validate(ExternalDisk) override {
        if (changed) {
            throw EjectionFailure("The disk identity changed. Refresh the list and try again.",
                                  std::nullopt, EjectionFailureKind::identityChanged, std::nullopt,
                                  std::nullopt);
        }
        co_return;
    }
};

class FileManagerDiskEjectorTest : public ::testing::Test {
protected:
    std::exception_ptr eject(ExternalDisk disk) {
        auto handle = spawn(executor, ejector.eject(std::move(disk)));
        executor.runAll();
        EXPECT_TRUE(handle.isDone());
        return handle.error();
    }

    static EjectionFailure failureOf(std::exception_ptr error) {
        try {
            std::rethrow_exception(error);
        } catch (const EjectionFailure& failure) {
            return failure;
        }
    }

    ManualExecutor executor;
    FakeUnmounter unmounter;
    FakeValidator validator;
    FileManagerDiskEjector ejector{unmounter, validator};
};

TEST_F(FileManagerDiskEjectorTest, UnmountsThePrimaryMountOfTheWholeDisk) {
    auto disk = testing::makeDisk(7, "STICK");
    EXPECT_FALSE(eject(disk));
    ASSERT_EQ(unmounter.calls.size(), 1u);
    EXPECT_EQ(unmounter.calls[0].first, "/media/user/STICK");
    EXPECT_EQ(unmounter.calls[0].second, "sdb");
}

TEST_F(FileManagerDiskEjectorTest, ChangedIdentityStopsBeforeAnyUnmount) {
    validator.changed = true;
    const auto failure = failureOf(eject(testing::makeDisk(7)));
    EXPECT_EQ(failure.kind, EjectionFailureKind::identityChanged);
    EXPECT_TRUE(unmounter.calls.empty());
}

TEST_F(FileManagerDiskEjectorTest, DiskWithoutVolumesIsNoLongerMounted) {
    auto disk = testing::makeDisk(7);
    disk.volumes.clear();
    EXPECT_EQ(failureOf(eject(disk)),
              EjectionFailure("This disk is no longer mounted.", std::nullopt,
                              EjectionFailureKind::identityChanged, std::nullopt, std::nullopt));
    EXPECT_TRUE(unmounter.calls.empty());
}

struct RefusalCase {
    const char* label;
    UnmountError refusal;
    EjectionFailure expected;
};

class EjectorRefusalTest : public FileManagerDiskEjectorTest,
                           public ::testing::WithParamInterface<RefusalCase> {};

TEST_P(EjectorRefusalTest, MapsTheRefusal) {
    unmounter.refusal = GetParam().refusal;
    EXPECT_EQ(failureOf(eject(testing::makeDisk(7))), GetParam().expected);
}

const std::string busyName = "org.freedesktop.UDisks2.Error.DeviceBusy";
const std::string busyText = "Error unmounting /dev/sdb1: target is busy";

INSTANTIATE_TEST_SUITE_P(
    Refusals, EjectorRefusalTest,
    ::testing::Values(
        RefusalCase{"busy_without_dissenter", UnmountError(busyName, busyText),
                    EjectionFailure(busyText, std::nullopt, EjectionFailureKind::busy, busyName,
                                    std::nullopt)},
        RefusalCase{"busy_with_code_and_dissenter", UnmountError(busyName, busyText, 14, 4242),
                    EjectionFailure(busyText, 4242, EjectionFailureKind::busy, busyName, 14)},
        RefusalCase{"other_error_keeps_its_dissenter",
                    UnmountError("org.freedesktop.UDisks2.Error.Failed", "Error powering off",
                                 std::nullopt, 99),
                    EjectionFailure("Error powering off", 99, EjectionFailureKind::other,
                                    "org.freedesktop.UDisks2.Error.Failed", std::nullopt)},
        RefusalCase{"busy_name_must_match_exactly",
                    UnmountError("org.freedesktop.UDisks2.Error.DeviceBusyX", "x"),
                    EjectionFailure("x", std::nullopt, EjectionFailureKind::other,
                                    "org.freedesktop.UDisks2.Error.DeviceBusyX", std::nullopt)},
        RefusalCase{"empty_message_stays_empty", UnmountError("org.x.Error", ""),
                    EjectionFailure("", std::nullopt, EjectionFailureKind::other, "org.x.Error",
                                    std::nullopt)}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo
