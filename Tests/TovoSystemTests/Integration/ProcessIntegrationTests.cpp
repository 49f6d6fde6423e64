// Real processes: what /proc says of them, and signals that reach only the process
// whose identity was confirmed while a pidfd pinned it.
#include "Support/FakeApplicationRegistry.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Linux/ProcessPin.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo::testing {
namespace {

const auto send = ExplicitProcessStopper::systemSignaler();

TEST(PinnedSignal, SentOnlyWhenTheIdentityIsConfirmed) {
    TestChild refused({"/bin/sleep", "30"});
    errno = -1;
    EXPECT_EQ(send(refused.pid(), SIGTERM, [] { return false; }), -1);
    EXPECT_EQ(errno, 0);
    EXPECT_FALSE(refused.hasExited());

    TestChild confirmed({"/bin/sleep", "30"});
    EXPECT_EQ(send(confirmed.pid(), SIGTERM, [] { return true; }), 0);
    EXPECT_TRUE(eventually([&] { return confirmed.hasExited(); }));
}

// The process ends and is reaped between the check and the signal, freeing its pid:
// the pinned handle still points at the dead process, not at the number. Without a
// process there is nothing to confirm.
TEST(PinnedSignal, AProcessGoneBeforeOrAfterTheCheckIsNeverSignalledByItsPid) {
    TestChild child({"/bin/sleep", "30"});
    const pid_t pid = child.pid();
    EXPECT_EQ(send(pid, SIGTERM,
                   [&] {
                       ::kill(pid, SIGKILL);
                       return eventually([&] { return child.hasExited(); });
                   }),
              -1);
    EXPECT_EQ(errno, ESRCH);

    bool asked = false;
    EXPECT_EQ(send(pid, SIGTERM, [&] { return asked = true; }), -1);
    EXPECT_EQ(errno, ESRCH);
    EXPECT_FALSE(asked);
}

// A leader that ended before its other threads is a zombie while they run on; its pid
// stays pinned, but nothing it opened speaks for it any more.
TEST(ProcessPin, AZombieLeaderHasExited) {
    TestChild child({helperProgram("zombie_leader")});
    ASSERT_TRUE(eventually([&] { return processState(child.pid()) == 'Z'; }));
    const ProcessPin pin(child.pid());
    EXPECT_EQ(std::pair(pin.isHeld(), pin.isAlive()), std::pair(true, false));
    EXPECT_TRUE(ProcessPin(::getpid()).isAlive());
}

TEST(RealProcessMetadata, DescribesRealChildrenWithStableDistinctStartTimes) {
    SystemProcessMetadataProvider provider(std::make_shared<FakeApplicationRegistry>());
    TemporaryFolder folder;
    // The kernel names a process after its executable file: spaces and parentheses included.
    const auto oddName = folder.path() / "nap (odd) x";
    std::filesystem::copy_file("/bin/sleep", oddName);
    TestChild child({oddName.string(), "10"});
    std::optional<ProcessMetadata> metadata;
    ASSERT_TRUE(eventually([&] {
        metadata = provider.metadata(child.pid());
        return metadata && metadata->command == "nap (odd) x";
    }));

    EXPECT_EQ(
        std::tie(metadata->pid, metadata->parentPID, metadata->userID, metadata->executablePath),
        std::make_tuple(child.pid(), ::getpid(), ::getuid(), oddName.string()));
    const auto now = std::chrono::system_clock::now().time_since_epoch() / std::chrono::seconds(1);
    EXPECT_NEAR(static_cast<double>(metadata->startTime.seconds), static_cast<double>(now), 5);
    EXPECT_LT(metadata->startTime.microseconds, 1'000'000u);

    // Start times tick in 1/_SC_CLK_TCK s (10 ms here); leave more than one tick.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    TestChild second({"/bin/sleep", "10"});
    EXPECT_NE(provider.metadata(second.pid())->startTime, metadata->startTime);
    EXPECT_EQ(provider.metadata(child.pid())->startTime, metadata->startTime);
}

// A holder that exited but was not reaped yet (state Z) holds nothing: it is gone,
// and a stop request for it ends as "already exited" without any signal.
TEST(RealProcessMetadata, AnExitedUnreapedProcessIsGoneAndNeverSignalled) {
    auto registry = std::make_shared<FakeApplicationRegistry>();
    auto provider = std::make_shared<SystemProcessMetadataProvider>(registry);
    TestChild child({"/bin/sleep", "0.3"});
    std::optional<ProcessMetadata> live;
    ASSERT_TRUE(eventually([&] {
        live = provider->metadata(child.pid());
        return live && live->command == "sleep";
    }));
    auto blocker = makeProcess(child.pid(), "sleep");
    std::tie(blocker.parentPID, blocker.userID, blocker.executablePath, blocker.startTime) =
        std::tie(live->parentPID, live->userID, live->executablePath, live->startTime);
    ASSERT_TRUE(eventually([&] { return processState(child.pid()) == 'Z'; }));
    EXPECT_EQ(provider->metadata(child.pid()), std::nullopt);

    ManualExecutor executor;
    int signals = 0;
    ExplicitProcessStopper stopper(
        executor, ::getuid(), ::getpid(), provider, registry,
        [&](std::int32_t pid, std::int32_t signal, const std::function<bool()>& confirm) {
            return send(pid, signal, [&] { return confirm() && ++signals > 0; });
        });
    const auto attempt = runToEnd(executor, stopper.requestStop(blocker));
    EXPECT_EQ(attempt.disposition, ReleaseDisposition::alreadyClosed);
    EXPECT_EQ(signals, 0);
}

} // namespace
} // namespace tovo::testing
