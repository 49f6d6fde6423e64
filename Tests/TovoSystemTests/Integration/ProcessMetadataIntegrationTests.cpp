#include "Support/FakeApplicationRegistry.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::eventually;
using testing::processState;
using testing::TemporaryFolder;
using testing::TestChild;

class RealProcessMetadata : public ::testing::Test {
protected:
    std::shared_ptr<testing::FakeApplicationRegistry> registry_ =
        std::make_shared<testing::FakeApplicationRegistry>();
    SystemProcessMetadataProvider provider_{registry_};
};

TEST_F(RealProcessMetadata, DescribesARealChild) {
    TemporaryFolder folder;
    // The kernel names a process after its executable file: spaces and parentheses included.
    const auto oddName = folder.path() / "nap (odd) x";
    std::filesystem::copy_file("/bin/sleep", oddName);
    TestChild child({oddName.string(), "10"});
    ASSERT_TRUE(eventually([&] {
        const auto metadata = provider_.metadata(child.pid());
        return metadata && metadata->command == "nap (odd) x";
    }));

    const auto metadata = provider_.metadata(child.pid());
    ASSERT_TRUE(metadata);
    EXPECT_EQ(std::tie(metadata->pid, metadata->parentPID, metadata->userID),
              std::make_tuple(child.pid(), ::getpid(), ::getuid()));
    EXPECT_EQ(metadata->executablePath, oddName.string());

    const auto now = std::chrono::duration_cast<std::chrono::seconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    EXPECT_NEAR(static_cast<double>(metadata->startTime.seconds), static_cast<double>(now), 5);
    EXPECT_LT(metadata->startTime.microseconds, 1'000'000u);
}

TEST_F(RealProcessMetadata, StartTimeIsStableAndTellsProcessesApart) {
    TestChild first({"/bin/sleep", "10"});
    const auto firstStart = provider_.metadata(first.pid())->startTime;
    // Start times tick in 1/_SC_CLK_TCK s (10 ms here); leave more than one tick.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    TestChild second({"/bin/sleep", "10"});
    EXPECT_NE(provider_.metadata(second.pid())->startTime, firstStart);
    EXPECT_EQ(provider_.metadata(first.pid())->startTime, firstStart);

    const auto pid = first.pid();
    first.end();
    ASSERT_FALSE(processState(pid));
    EXPECT_EQ(provider_.metadata(pid), std::nullopt) << "a vanished process has none";
}

TEST_F(RealProcessMetadata, TheParentApplicationIsFoundThroughRealAncestry) {
    // The test itself plays the application; a shell it started runs the child.
    registry_->add(RunningApplication{::getpid(), "Test Runner", "org.example.TestRunner",
                                      ActivationPolicy::regular});
    TemporaryFolder folder;
    const auto pidFile = folder.path() / "pid";
    TestChild shell({"/bin/sh", "-c", "sleep 10 & echo $! > \"$0\"; wait", pidFile.string()});
    const auto grandchild = testing::awaitPidFile(pidFile);
    ASSERT_GT(grandchild, 0);

    EXPECT_EQ(provider_.parentApplication(grandchild),
              (ParentApplication{::getpid(), "Test Runner", "org.example.TestRunner"}));
    EXPECT_EQ(provider_.parentApplication(::getpid()), std::nullopt);
    ::kill(grandchild, SIGKILL);
}

} // namespace
} // namespace tovo
