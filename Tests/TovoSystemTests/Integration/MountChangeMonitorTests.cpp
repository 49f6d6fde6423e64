#include "TovoSystem/Linux/MountChangeMonitor.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <poll.h>

namespace tovo {
namespace {

using namespace std::chrono_literals;

TEST(MountChangeMonitor, ReportsAMountAndAnUnmountOnceEach) {
    MountChangeMonitor monitor;
    ASSERT_TRUE(monitor.watchesMountTable());
    EXPECT_FALSE(monitor.waitForChange(0ms)) << "nothing changed yet";

    testing::TmpfsMount scratch("size=1m");
    if (!scratch.isMounted()) {
        GTEST_SKIP() << "cannot mount a tmpfs here";
    }
    EXPECT_TRUE(monitor.waitForChange(2000ms));
    EXPECT_FALSE(monitor.waitForChange(0ms)) << "one change is reported once";

    scratch.unmount();
    EXPECT_TRUE(monitor.waitForChange(2000ms));
}

TEST(MountChangeMonitor, WatchesTheMountTableForItsPriorityMark) {
    MountChangeMonitor monitor;
    const auto watched = monitor.descriptors();
    ASSERT_FALSE(watched.empty());
    EXPECT_EQ(watched.front().events, POLLPRI);
    // Readiness to read is always there and means nothing.
    EXPECT_FALSE(monitor.drain(watched.front().fd, POLLIN));
    EXPECT_TRUE(monitor.drain(watched.front().fd, POLLPRI));
    EXPECT_FALSE(monitor.drain(-1, POLLPRI));

    MountChangeMonitor without("/nonexistent/mountinfo");
    EXPECT_FALSE(without.watchesMountTable());
    EXPECT_FALSE(without.waitForChange(0ms));
}

} // namespace
} // namespace tovo
