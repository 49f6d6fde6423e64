#include "GuiHarness.hpp"
#include "Support/ModelBuilders.hpp"
#include "Tovo/Support/Qt/MountChangeWatcher.hpp"
#include "Tovo/Support/Qt/QtMainExecutor.hpp"
#include "Tovo/Support/Qt/WorkflowBridge.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <QSignalSpy>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/mount.h>
#include <thread>
#include <unistd.h>

namespace tovo::testing {
namespace {

class TwoDisks final : public VolumeProviding {
public:
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        co_return std::vector<ExternalDisk>{makeDisk(1, "ONE"), makeDisk(2, "TWO")};
    }
};

TEST(WorkflowBridge, DeliversOneChangeAfterABurstWithTheStateSettled) {
    guiApplication();
    QtMainExecutor executor;
    VirtualClock clock(executor);
    NullLogger logger;
    ServiceGraph demo = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
    TovoWorkflow workflow(std::make_shared<TwoDisks>(), demo.ejector, demo.diagnoser, demo.releaser,
                          demo.stopper, 1, 1, clock, logger, executor);
    WorkflowBridge bridge(workflow);
    std::vector<std::size_t> seenDiskCounts;
    QObject::connect(&bridge, &WorkflowBridge::changed,
                     [&] { seenDiskCounts.push_back(workflow.disks().size()); });

    const TaskHandle refresh = spawn(executor, workflow.refresh());
    QTRY_VERIFY_WITH_TIMEOUT(refresh.isDone(), 5000);
    QCoreApplication::processEvents();
    // Disks and selection changed in one step: one signal, after both landed.
    ASSERT_EQ(seenDiskCounts.size(), 1U);
    EXPECT_EQ(seenDiskCounts[0], 2U);

    workflow.selectDisk("attachment:2");
    EXPECT_EQ(seenDiskCounts.size(), 1U); // queued, not delivered inside the call
    QCoreApplication::processEvents();
    EXPECT_EQ(seenDiskCounts.size(), 2U);
}

TEST(QtMainExecutor, RunsWorkPostedFromOtherThreadsOnItsOwnInOrder) {
    guiApplication();
    QtMainExecutor executor;
    std::vector<int> order;
    std::vector<bool> onMainThread;
    std::thread poster([&] {
        for (int index = 0; index < 50; ++index) {
            executor.post([&, index] {
                order.push_back(index);
                onMainThread.push_back(QThread::currentThread() == qApp->thread());
            });
        }
    });
    poster.join();
    EXPECT_TRUE(order.empty()); // nothing runs until the event loop does
    QTRY_COMPARE_WITH_TIMEOUT(order.size(), std::size_t{50}, 5000);
    EXPECT_TRUE(std::ranges::is_sorted(order));
    EXPECT_EQ(std::count(onMainThread.begin(), onMainThread.end(), false), 0);
}

TEST(QtMainExecutor, DropsWorkPostedAfterItIsGone) {
    guiApplication();
    bool ran = false;
    {
        QtMainExecutor executor;
        executor.post([&] { ran = true; });
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(ran);
}

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
