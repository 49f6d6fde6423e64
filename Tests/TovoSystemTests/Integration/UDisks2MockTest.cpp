#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <array>
#include <fstream>

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

    void startMock(const std::string& scenario) {
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
                               std::optional<std::string> address = std::nullopt) {
        ManualExecutor executor;
        UDisks2Unmounter unmounter(executor, address.value_or(bus.address()),
                                   std::chrono::seconds(5), sys());
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

TEST_P(UDisks2MockDrive, UnmountsBothPartitionsWithoutPromptsThenPowersOffOrEjects) {
    startMock(GetParam()[0]);
    EXPECT_FALSE(unmount());
    EXPECT_EQ(calls(),
              "Unmount sdx2 True\nUnmount sdx1 True\n" + std::string(GetParam()[1]) + "\n");
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

const std::string unmountBoth = "Unmount sdx2 True\nUnmount sdx1 True\n";

INSTANTIATE_TEST_SUITE_P(
    Scenarios, UDisks2MockRefusal,
    ::testing::Values(
        RefusedDrive{"refused_in_udisks_words", "poweroff-fails", unmountBoth + "PowerOff\n",
                     EjectionFailureKind::other, "Error powering off drive: the drive is in use"},
        RefusedDrive{"replaced_before_power_off", "replaced", unmountBoth,
                     EjectionFailureKind::identityChanged,
                     "The disk identity changed. Refresh the list and try again."},
        RefusedDrive{"mount_left_after_the_last_round", "stuck",
                     unmountBoth + "Unmount sdx1 True\n", EjectionFailureKind::busy,
                     "A file system of this disk is still mounted at “/media/mock/ONE”, so data "
                     "may still be waiting to be written: close what uses it, then try again."}),
    [](const auto& info) { return std::string(info.param.label); });

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
