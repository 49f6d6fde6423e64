#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <array>

namespace tovo {
namespace {

using namespace tovo::testing;

// A mock udisks2 on a private bus: one USB drive, two mounted partitions.
class UDisks2MockTest : public ::testing::Test {
protected:
    void startMock(const std::string& scenario) {
        const auto service =
            std::filesystem::path(__FILE__).parent_path() / "UDisks2MockService.py";
        mock.emplace(std::vector<std::string>{"/usr/bin/python3", service, bus.address(),
                                              folder.path() / "calls", scenario},
                     ChildOptions{.output = folder.path() / "mock.log"});
        ASSERT_TRUE(bus.awaitName("org.freedesktop.UDisks2"))
            << readText(folder.path() / "mock.log").value_or("");
    }

    std::exception_ptr unmount(std::optional<std::string> wholeDisk = "sdx",
                               std::optional<std::string> address = std::nullopt) {
        ManualExecutor executor;
        UDisks2Unmounter unmounter(executor, address.value_or(bus.address()),
                                   std::chrono::seconds(5));
        auto handle = spawn(executor, unmounter.unmountAndEject("/media/mock/ONE", wholeDisk));
        EXPECT_TRUE(executor.runUntil([&] { return handle.isDone(); }));
        return handle.error();
    }

    std::string calls() const { return readText(folder.path() / "calls").value_or(""); }

    TemporaryFolder folder;
    PrivateBus bus{folder.path()};
    std::optional<TestChild> mock;
};

class UDisks2MockDrive : public UDisks2MockTest,
                         public ::testing::WithParamInterface<std::array<const char*, 2>> {};

TEST_P(UDisks2MockDrive, UnmountsBothPartitionsWithoutPromptsThenPowersOffOrEjects) {
    startMock(GetParam()[0]);
    // Without a whole disk, it is found from the mount point.
    const bool byMountPoint = GetParam()[0] == std::string("eject");
    EXPECT_FALSE(unmount(byMountPoint ? std::nullopt : std::optional<std::string>("sdx")));
    EXPECT_EQ(calls(),
              "Unmount sdx2 True\nUnmount sdx1 True\n" + std::string(GetParam()[1]) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Scenarios, UDisks2MockDrive,
                         ::testing::Values(std::array{"poweroff", "PowerOff"},
                                           std::array{"eject", "Eject"}));

TEST_F(UDisks2MockTest, RefusedPowerOffIsAnOtherFailureInUdisksWords) {
    startMock("poweroff-fails");
    try {
        std::rethrow_exception(unmount());
    } catch (const UnmountError& refusal) {
        EXPECT_EQ(FileManagerDiskEjector::failure(refusal),
                  EjectionFailure("Error powering off drive: the drive is in use", std::nullopt,
                                  EjectionFailureKind::other,
                                  "org.freedesktop.UDisks2.Error.Failed", std::nullopt));
    }
}

TEST_F(UDisks2MockTest, UnknownDiskIsReportedWithoutTouchingAnything) {
    startMock("poweroff");
    EXPECT_NE(readableMessage(unmount("sdq")).find("udisks2 does not know"), std::string::npos);
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
