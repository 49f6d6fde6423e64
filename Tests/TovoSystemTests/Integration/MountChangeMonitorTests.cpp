#include "TovoSystem/Linux/MountChangeMonitor.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace tovo {
namespace {

using namespace std::chrono_literals;

/// A private tmpfs mount point that is unmounted and removed at the end.
class ScratchMount {
public:
    ScratchMount() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tovo-mount-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern;
        }
    }
    ~ScratchMount() {
        if (mounted_) {
            ::umount2(path_.c_str(), MNT_DETACH);
        }
        if (!path_.empty()) {
            std::filesystem::remove(path_);
        }
    }
    /// errno of mount(2), 0 on success.
    int mount() {
        if (::mount("tovo-test", path_.c_str(), "tmpfs", 0, "size=1m") != 0) {
            return errno;
        }
        mounted_ = true;
        return 0;
    }
    int unmount() {
        if (::umount2(path_.c_str(), 0) != 0) {
            return errno;
        }
        mounted_ = false;
        return 0;
    }

private:
    std::filesystem::path path_;
    bool mounted_ = false;
};

TEST(MountChangeMonitor, ReportsAMountAndAnUnmountOnceEach) {
    MountChangeMonitor monitor;
    ASSERT_TRUE(monitor.watchesMountTable());
    EXPECT_FALSE(monitor.waitForChange(0ms)) << "nothing changed yet";

    ScratchMount scratch;
    if (const int error = scratch.mount(); error != 0) {
        GTEST_SKIP() << "cannot mount a tmpfs here: " << std::strerror(error);
    }
    EXPECT_TRUE(monitor.waitForChange(2000ms));
    EXPECT_FALSE(monitor.waitForChange(0ms)) << "one change is reported once";

    ASSERT_EQ(scratch.unmount(), 0);
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
}

TEST(MountChangeMonitor, WithoutAMountTableWatchesNothingThere) {
    MountChangeMonitor monitor("/nonexistent/mountinfo");
    EXPECT_FALSE(monitor.watchesMountTable());
    EXPECT_FALSE(monitor.waitForChange(0ms));
}

} // namespace
} // namespace tovo
