#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;

const std::filesystem::path mockService =
    std::filesystem::path(__FILE__).parent_path() / "UDisks2MockService.py";

std::vector<std::string> lines(const std::filesystem::path& file) {
    std::vector<std::string> result;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        result.push_back(line);
    }
    return result;
}

// A mock udisks2 on a private bus: one USB drive, two mounted partitions.
class UDisks2MockTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists("/usr/bin/dbus-daemon") ||
            shell("/usr/bin/python3 -c 'import dbus, gi' && echo ok") != "ok") {
            GTEST_SKIP() << "needs dbus-daemon and /usr/bin/python3 with dbus and gi";
        }
        folder = scratchFolder(std::string("udmock-") +
                               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        bus = std::make_unique<PrivateBus>(folder);
    }
    void TearDown() override {
        mock.reset();
        bus.reset();
        if (!folder.empty()) {
            std::filesystem::remove_all(folder);
        }
    }

    void startMock(const std::string& scenario) {
        mock = std::make_unique<Child>(
            std::vector<std::string>{"/usr/bin/python3", mockService.string(), bus->address(),
                                     (folder / "calls").string(), scenario},
            std::vector<std::string>{}, folder / "mock.log");
        ASSERT_TRUE(waitFor([this] { return bus->hasName("org.freedesktop.UDisks2"); }))
            << shell("cat '" + (folder / "mock.log").string() + "'");
    }

    std::exception_ptr unmount(std::optional<std::string> wholeDisk = "sdx") {
        ManualExecutor executor;
        UDisks2Unmounter unmounter(executor, bus->address(), std::chrono::seconds(5));
        auto handle = spawn(executor, unmounter.unmountAndEject("/media/mock/ONE", wholeDisk));
        EXPECT_TRUE(executor.runUntil([&] { return handle.isDone(); }));
        return handle.error();
    }

    std::vector<std::string> calls() const { return lines(folder / "calls"); }

    std::filesystem::path folder;
    std::unique_ptr<PrivateBus> bus;
    std::unique_ptr<Child> mock;
};

TEST_F(UDisks2MockTest, UnmountsBothPartitionsWithoutPromptsThenPowersOff) {
    startMock("poweroff");
    EXPECT_FALSE(unmount());
    EXPECT_EQ(calls(),
              (std::vector<std::string>{"Unmount sdx2 True", "Unmount sdx1 True", "PowerOff"}));
}

TEST_F(UDisks2MockTest, EjectsWhenTheDriveCannotPowerOff) {
    startMock("eject");
    EXPECT_FALSE(unmount(std::nullopt)) << "the whole disk is found from the mount point";
    EXPECT_EQ(calls(),
              (std::vector<std::string>{"Unmount sdx2 True", "Unmount sdx1 True", "Eject"}));
}

TEST_F(UDisks2MockTest, RefusedPowerOffIsAnOtherFailureInUdisksWords) {
    startMock("poweroff-fails");
    const auto error = unmount();
    ASSERT_TRUE(error);
    try {
        std::rethrow_exception(error);
    } catch (const UnmountError& refusal) {
        const auto failure = FileManagerDiskEjector::failure(refusal);
        EXPECT_EQ(failure.kind, EjectionFailureKind::other);
        EXPECT_EQ(failure.underlyingDomain, "org.freedesktop.UDisks2.Error.Failed");
        EXPECT_EQ(failure.message, "Error powering off drive: the drive is in use");
    }
}

TEST_F(UDisks2MockTest, UnknownDiskIsReportedWithoutTouchingAnything) {
    startMock("poweroff");
    const auto error = unmount("sdq");
    ASSERT_TRUE(error);
    EXPECT_NE(readableMessage(error).find("udisks2 does not know"), std::string::npos);
    EXPECT_TRUE(calls().empty());
}

TEST_F(UDisks2MockTest, AbsentUdisks2IsAClearFailureNotAHang) {
    const auto started = std::chrono::steady_clock::now();
    const auto error = unmount();
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
    ASSERT_TRUE(error);
    try {
        std::rethrow_exception(error);
    } catch (const UnmountError& refusal) {
        EXPECT_EQ(refusal.name, "org.freedesktop.DBus.Error.ServiceUnknown");
        EXPECT_TRUE(refusal.message.starts_with("Could not eject"));
        EXPECT_NE(refusal.message.find("udisks2"), std::string::npos);
    }
}

TEST_F(UDisks2MockTest, UnreachableBusIsAClearFailure) {
    ManualExecutor executor;
    UDisks2Unmounter unmounter(executor, "unix:path=" + (folder / "no-bus").string());
    auto handle = spawn(executor, unmounter.unmountAndEject("/media/mock/ONE", "sdx"));
    ASSERT_TRUE(executor.runUntil([&] { return handle.isDone(); }));
    const auto message = readableMessage(handle.error());
    EXPECT_TRUE(message.starts_with("Could not eject")) << message;
    EXPECT_NE(message.find("udisks2"), std::string::npos) << message;
}

} // namespace
} // namespace tovo
