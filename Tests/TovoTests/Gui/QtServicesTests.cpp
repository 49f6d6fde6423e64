#include "GuiHarness.hpp"
#include "Support/ModelBuilders.hpp"
#include "Support/ScriptedServices.hpp"
#include "Tovo/Support/Qt/MountChangeWatcher.hpp"
#include "Tovo/Support/Qt/QtMainExecutor.hpp"
#include "Tovo/Support/Qt/WorkflowBridge.hpp"
#include "TovoCore/Async/Spawn.hpp"

#include <QSignalSpy>

#include <filesystem>
#include <sys/mount.h>
#include <thread>
#include <unistd.h>

namespace tovo::testing {
namespace {

TEST(WorkflowBridge, DeliversOneChangeAfterABurstWithTheStateSettled) {
    guiApplication();
    QtMainExecutor executor;
    VirtualClock clock(executor);
    NullLogger logger;
    ServiceGraph demo = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
    const auto provider = std::make_shared<ScriptedVolumeProvider>(executor);
    provider->listing.setValue({makeDisk(1), makeDisk(2)});
    TovoWorkflow workflow(provider, demo.ejector, demo.diagnoser, demo.releaser, demo.stopper, 1, 1,
                          clock, logger, executor);
    WorkflowBridge bridge(workflow);
    std::vector<std::size_t> seenDiskCounts; // at each signal
    QObject::connect(&bridge, &WorkflowBridge::changed,
                     [&] { seenDiskCounts.push_back(workflow.disks().size()); });

    const TaskHandle refresh = spawn(executor, workflow.refresh());
    QTRY_VERIFY_WITH_TIMEOUT(refresh.isDone(), 5000);
    QCoreApplication::processEvents();
    // Disks and selection changed in one step: one signal, after both landed.
    EXPECT_EQ(seenDiskCounts, std::vector<std::size_t>{2});

    workflow.selectDisk("attachment:2");
    EXPECT_EQ(seenDiskCounts.size(), 1U); // queued, not delivered inside the call
    QCoreApplication::processEvents();
    EXPECT_EQ(seenDiskCounts.size(), 2U);
}

// Work posted from any thread runs on the UI thread, in order; once the executor is
// gone, what it still held is dropped.
TEST(QtMainExecutor, RunsWorkFromOtherThreadsOnTheUiThreadInOrderAndDropsItWhenGone) {
    guiApplication();
    std::vector<int> order;
    bool onMainThread = true;
    auto executor = std::make_unique<QtMainExecutor>();
    std::thread([&] {
        for (int index = 0; index < 5; ++index) {
            executor->post([&, index] {
                order.push_back(index);
                onMainThread = onMainThread && QThread::currentThread() == qApp->thread();
            });
        }
    }).join();
    EXPECT_TRUE(order.empty()) << "nothing runs until the event loop does";
    QTRY_COMPARE_WITH_TIMEOUT(order, (std::vector{0, 1, 2, 3, 4}), 5000);
    EXPECT_TRUE(onMainThread);
    executor->post([&] { order.push_back(5); });
    executor.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(order.size(), 5U);
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
        std::filesystem::remove(folder);
        GTEST_SKIP() << "cannot mount a tmpfs here";
    }
    EXPECT_TRUE(changed.wait(3000));
    const auto afterMount = changed.count();

    ASSERT_EQ(::umount2(folder.c_str(), 0), 0);
    std::filesystem::remove(folder);
    EXPECT_TRUE(changed.wait(3000));
    EXPECT_GT(changed.count(), afterMount);
}

} // namespace
} // namespace tovo::testing
