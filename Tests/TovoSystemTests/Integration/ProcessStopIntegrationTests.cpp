#include "../ProcessTestSupport.hpp"
#include "TestDaemon.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using Signals = std::vector<std::pair<std::int32_t, std::int32_t>>;

// A real child of this test, stopped by the real stopper with real kill(2) after
// a real identity check against /proc. No application registry entry matches it.
class ProcessStopIntegration : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(child.readLine(10s), "ready"); }

    // The blocker as the diagnoser would have recorded it: live facts from /proc.
    BlockingProcess reviewed() const {
        const auto live = metadata->metadata(child.pid()).value();
        return BlockingProcess{child.pid(),
                               live.parentPID,
                               live.command,
                               live.userID,
                               std::nullopt,
                               {{"/media/DISK", "cwd", "DIR", OpenAccess::unknown}},
                               live.executablePath,
                               live.startTime,
                               false,
                               std::nullopt};
    }
    ReleaseAttempt requestStop(const BlockingProcess& process) {
        ExplicitProcessStopper stopper(
            getuid(), getpid(), metadata, registry, [this](std::int32_t pid, std::int32_t number) {
                signals.emplace_back(pid, number);
                return ExplicitProcessStopper::systemSignaler()(pid, number);
            });
        return testing::runToEnd(executor, stopper.requestStop(process));
    }

    testing::TestDaemon child{{testing::helperProgram("stop_child").string()}, {}};
    std::shared_ptr<DesktopApplicationRegistry> registry =
        std::make_shared<DesktopApplicationRegistry>(DesktopApplicationRegistry::Options{});
    std::shared_ptr<SystemProcessMetadataProvider> metadata =
        std::make_shared<SystemProcessMetadataProvider>(registry);
    ManualExecutor executor;
    Signals signals;
};

TEST_F(ProcessStopIntegration, StopsARealChildWithOneSigterm) {
    const auto process = reviewed();
    ASSERT_EQ(process.command, "stop_child");

    const auto attempt = requestStop(process);

    EXPECT_EQ(attempt.disposition, ReleaseDisposition::requested);
    EXPECT_EQ(attempt.message, "Tovo sent a stop request to stop_child.");
    EXPECT_EQ(signals, (Signals{{child.pid(), SIGTERM}}));
    const int status = child.waitForExit();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST_F(ProcessStopIntegration, ChangedStartTimeIsRefusedAndNothingIsSent) {
    auto process = reviewed();
    process.startTime->microseconds = (process.startTime->microseconds + 10'000) % 1'000'000;

    const auto attempt = requestStop(process);

    EXPECT_EQ(attempt.disposition, ReleaseDisposition::failed);
    EXPECT_EQ(attempt.message,
              "Tovo could not verify that this is the same process. Nothing was sent.");
    EXPECT_TRUE(signals.empty());
    EXPECT_TRUE(testing::isAliveAndNotZombie(child.pid()));
}

} // namespace
} // namespace tovo
