#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <tuple>

namespace tovo {
namespace {

using namespace tovo::testing;

// A mock udisks2 on a private bus: one USB drive, two mounted partitions, and a
// sysfs of our own that shows the same disk sdx with diskseq 77.
class UDisks2MockTest : public ::testing::Test {
protected:
    void SetUp() override {
        const auto write = [this](const std::string& file, const std::string& text) {
            std::filesystem::create_directories((sys() / file).parent_path());
            std::ofstream(sys() / file) << text << "\n";
        };
        write("class/block/sdx/dev", "4000:0");
        write("class/block/sdx/diskseq", "77");
        write("class/block/sdy/dev", "4000:9"); // unknown to udisks2
        write("class/block/sdy/diskseq", "77");
        for (const std::string partition : {"1", "2"}) {
            write("class/block/sdx/sdx" + partition + "/partition", partition);
            write("class/block/sdx" + partition + "/dev", "4000:" + partition);
        }
    }

    // sdx2 holds dm0, which holds dm1, which holds the logical volume dm2.
    void addLayers() {
        for (const auto& [name, minor, holder] :
             {std::tuple{"sdx2", 2, "dm0"}, {"dm0", 3, "dm1"}, {"dm1", 4, "dm2"}}) {
            std::filesystem::create_directories(sys() / "class/block" / name / "holders" / holder);
            std::filesystem::create_directories(sys() / "class/block" / holder);
            std::ofstream(sys() / "class/block" / holder / "dev") << "4000:" << minor + 1 << "\n";
        }
    }

    void startMock(const std::string& scenario) {
        if (scenario == "layered" || scenario == "lock-fails" || scenario == "stays-unlocked") {
            addLayers();
        }
        const auto service =
            std::filesystem::path(__FILE__).parent_path() / "UDisks2MockService.py";
        mock.emplace(std::vector<std::string>{"/usr/bin/python3", service, bus.address(),
                                              folder.path() / "calls", scenario,
                                              sys() / "class/block/sdx/diskseq"},
                     ChildOptions{.output = folder.path() / "mock.log"});
        ASSERT_TRUE(bus.awaitName("org.freedesktop.UDisks2"))
            << readText(folder.path() / "mock.log").value_or("");
    }

    std::exception_ptr unmount(std::string wholeDisk = "sdx",
                               std::optional<std::string> address = std::nullopt,
                               std::chrono::milliseconds callTimeout = std::chrono::seconds(5)) {
        ManualExecutor executor;
        UDisks2Unmounter unmounter(executor, address.value_or(bus.address()), callTimeout, sys());
        auto handle = spawn(
            executor, unmounter.unmountAndEject({std::move(wholeDisk), 77, {"/media/mock/ONE"}}));
        EXPECT_TRUE(executor.runUntil([&] { return handle.isDone(); }));
        return handle.error();
    }

    std::optional<EjectionFailure> failure(std::exception_ptr error) {
        try {
            if (error) {
                std::rethrow_exception(error);
            }
        } catch (const UnmountError& refusal) {
            return FileManagerDiskEjector::failure(refusal);
        }
        return std::nullopt;
    }

    std::filesystem::path sys() const { return folder.path() / "sys"; }
    std::string calls() const { return readText(folder.path() / "calls").value_or(""); }

    TemporaryFolder folder;
    PrivateBus bus{folder.path()};
    std::optional<TestChild> mock;
};

class UDisks2MockDrive : public UDisks2MockTest,
                         public ::testing::WithParamInterface<std::array<const char*, 2>> {};

// Where policy wants a password, polkit may ask for it: no call forbids interaction.
TEST_P(UDisks2MockDrive, UnmountsBothPartitionsThenPowersOffOrEjects) {
    startMock(GetParam()[0]);
    EXPECT_FALSE(unmount());
    EXPECT_EQ(calls(),
              "Unmount sdx2 False\nUnmount sdx1 False\n" + std::string(GetParam()[1]) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Scenarios, UDisks2MockDrive,
                         ::testing::Values(std::array{"poweroff", "PowerOff"},
                                           std::array{"eject", "Eject"}));

struct RefusedDrive {
    const char* label;
    const char* scenario;
    std::string calls;
    EjectionFailureKind kind;
    const char* message;
};

class UDisks2MockRefusal : public UDisks2MockTest,
                           public ::testing::WithParamInterface<RefusedDrive> {};

// Nothing is powered off unless the disk is still the proved one and fully unmounted.
TEST_P(UDisks2MockRefusal, IsAFailureOfItsKindAndPowersOffNothingElse) {
    startMock(GetParam().scenario);
    const auto refusal = failure(unmount());
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->kind, GetParam().kind);
    EXPECT_EQ(refusal->message, GetParam().message);
    EXPECT_EQ(calls(), GetParam().calls);
}

const std::string unmountBoth = "Unmount sdx2 False\nUnmount sdx1 False\n";
const std::string unmountLayered = "Unmount dm2 False\nUnmount sdx1 False\n";
const std::string closeLayers = "Deactivate lv\nLock dm0\nLock sdx2\n";

INSTANTIATE_TEST_SUITE_P(
    Scenarios, UDisks2MockRefusal,
    ::testing::Values(
        RefusedDrive{"refused_in_udisks_words", "poweroff-fails", unmountBoth + "PowerOff\n",
                     EjectionFailureKind::other, "Error powering off drive: the drive is in use"},
        RefusedDrive{"replaced_before_power_off", "replaced", unmountBoth,
                     EjectionFailureKind::identityChanged,
                     "The disk identity changed. Refresh the list and try again."},
        RefusedDrive{"mount_left_after_the_last_round", "stuck",
                     unmountBoth + "Unmount sdx1 False\n", EjectionFailureKind::busy,
                     "A file system of this disk is still mounted at “/media/mock/ONE”, so data "
                     "may still be waiting to be written: close what uses it, then try again."},
        RefusedDrive{"refused_by_policy", "not-authorized", "Unmount sdx2 False\n",
                     EjectionFailureKind::other,
                     "Tovo was not allowed to eject this disk. The system's policy does not let "
                     "this account unmount or power off the disk."},
        RefusedDrive{"password_dialog_closed", "dismissed", unmountBoth + "PowerOff\n",
                     EjectionFailureKind::other,
                     "The password dialog was closed, so the disk was not ejected."},
        RefusedDrive{"udisks2_gone_while_powering_off", "dies", unmountBoth + "PowerOff\n",
                     EjectionFailureKind::other,
                     "Could not eject: udisks2, the system's disk service, stopped before it "
                     "finished, so the disk may still be in use. Do not unplug it; try again."},
        RefusedDrive{"container_that_cannot_be_locked", "lock-fails", unmountLayered + closeLayers,
                     EjectionFailureKind::other,
                     "Could not eject: the encrypted volume /dev/sdx2 of this disk could not be "
                     "locked, so the disk was not powered off. udisks2 said: Error locking "
                     "/dev/sdx2: Device or resource busy"},
        RefusedDrive{"container_left_unlocked", "stays-unlocked", unmountLayered + closeLayers,
                     EjectionFailureKind::other,
                     "Could not eject: the encrypted volume /dev/sdx2 of this disk is still "
                     "unlocked, so the disk was not powered off."}),
    [](const auto& info) { return std::string(info.param.label); });

// Inner layers first: the logical volume, the inner container, the outer one.
TEST_F(UDisks2MockTest, ClosesNestedContainersAndLogicalVolumesBeforePowerOff) {
    startMock("layered");
    EXPECT_FALSE(unmount());
    EXPECT_EQ(calls(), unmountLayered + closeLayers + "PowerOff\n");
}

// Unmounting writes out what is cached: it may take far longer than a question may.
TEST_F(UDisks2MockTest, WaitsForWorkLongerThanTheTimeLimitOfQuestions) {
    startMock("slow");
    EXPECT_FALSE(unmount("sdx", std::nullopt, std::chrono::milliseconds(500)));
    EXPECT_EQ(calls(), unmountBoth + "PowerOff\n");
}

// The call under way finishes in udisks2; nothing after it starts, and nothing says done.
TEST_F(UDisks2MockTest, CancellationStartsNoFurtherCall) {
    startMock("slow");
    ManualExecutor executor;
    UDisks2Unmounter unmounter(executor, bus.address(), std::chrono::seconds(5), sys());
    auto handle = spawn(executor, unmounter.unmountAndEject({"sdx", 77, {"/media/mock/ONE"}}));
    executor.runAll();
    ASSERT_TRUE(eventually([&] { return !calls().empty(); }));
    handle.requestCancellation();
    ASSERT_TRUE(executor.runUntil([&] { return handle.isDone(); }));
    EXPECT_TRUE(isCancellation(handle.error()));
    EXPECT_EQ(calls(), "Unmount sdx2 False\n");
}

TEST_F(UDisks2MockTest, UnknownOrChangedDiskIsReportedWithoutTouchingAnything) {
    startMock("poweroff");
    EXPECT_EQ(failure(unmount("sdq"))->kind, EjectionFailureKind::identityChanged); // no such disk
    EXPECT_NE(readableMessage(unmount("sdy")).find("udisks2 does not know"), std::string::npos);
    EXPECT_EQ(calls(), "");
}

TEST_F(UDisks2MockTest, AbsentUdisks2OrBusIsAClearFailureNotAHang) {
    const auto started = std::chrono::steady_clock::now();
    for (const auto& address :
         {bus.address(), "unix:path=" + (folder.path() / "no-bus").string()}) {
        const auto message = readableMessage(unmount("sdx", address));
        EXPECT_TRUE(message.starts_with("Could not eject")) << message;
        EXPECT_NE(message.find("udisks2"), std::string::npos) << message;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
}

} // namespace
} // namespace tovo
