#include "GuiHarness.hpp"
#include "Tovo/Support/Qt/MountChangeWatcher.hpp"

#include <QSignalSpy>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/mount.h>
#include <unistd.h>

namespace tovo::testing {
namespace {

// Mounting and unmounting reach the event loop as changed().
TEST(MountChangeWatcher, SignalsWhenAFileSystemIsMountedAndUnmounted) {
    guiApplication();
    MountChangeWatcher watcher(nullptr, 50);
    ASSERT_TRUE(watcher.isWatching());
    QSignalSpy changed(&watcher, &MountChangeWatcher::changed);

    std::string folder = (std::filesystem::temp_directory_path() / "tovo-watch-XXXXXX").string();
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    if (::mount("tovo-test", folder.c_str(), "tmpfs", 0, "size=1m") != 0) {
        const int error = errno;
        std::filesystem::remove(folder);
        GTEST_SKIP() << "cannot mount a tmpfs here: " << std::strerror(error);
    }
    EXPECT_TRUE(changed.wait(3000));
    const auto afterMount = changed.count();
    EXPECT_GE(afterMount, 1);

    ASSERT_EQ(::umount2(folder.c_str(), 0), 0);
    std::filesystem::remove(folder);
    EXPECT_TRUE(changed.wait(3000));
    EXPECT_GT(changed.count(), afterMount);
}

} // namespace
} // namespace tovo::testing
