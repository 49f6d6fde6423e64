#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>

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

TEST(PinnedSignal, AProcessGoneAfterTheCheckIsNeverReplacedByItsPid) {
    TestChild child({"/bin/sleep", "30"});
    const pid_t pid = child.pid();
    // The process ends and is reaped between the check and the signal, freeing its
    // pid: the pinned handle still points at the dead process, not at the number.
    const auto outcome = send(pid, SIGTERM, [&] {
        ::kill(pid, SIGKILL);
        return eventually([&] { return child.hasExited(); });
    });
    EXPECT_EQ(outcome, -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(PinnedSignal, NoProcessNoSignal) {
    pid_t gone = 0;
    {
        TestChild child({"/bin/true"});
        gone = child.pid();
        ASSERT_TRUE(eventually([&] { return child.hasExited(); }));
    }
    bool asked = false;
    EXPECT_EQ(send(gone, SIGTERM, [&] { return asked = true; }), -1);
    EXPECT_EQ(errno, ESRCH);
    EXPECT_FALSE(asked);
}

} // namespace
} // namespace tovo::testing
