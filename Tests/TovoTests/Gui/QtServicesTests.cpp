#include "GuiHarness.hpp"
#include "Support/ModelBuilders.hpp"
#include "Support/ScriptedServices.hpp"
#include "Tovo/Support/Contrast.hpp"
#include "Tovo/Support/Qt/MountChangeWatcher.hpp"
#include "Tovo/Support/Qt/QtMainExecutor.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/WorkflowBridge.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <QPalette>
#include <QSignalSpy>
#include <gtest/gtest.h>

#include <thread>

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

    TmpfsMount tmpfs;
    if (!tmpfs.isMounted()) {
        GTEST_SKIP() << "cannot mount a tmpfs here";
    }
    EXPECT_TRUE(changed.wait(3000));
    const auto afterMount = changed.count();
    tmpfs.unmount();
    EXPECT_TRUE(changed.wait(3000));
    EXPECT_GT(changed.count(), afterMount);
}

Rgb rgb(const QColor& color) {
    return {color.redF(), color.greenF(), color.blueF()};
}

// The ratio of `text` (perhaps translucent) drawn on the opaque `background`.
double ratioOn(const QColor& text, const QColor& background) {
    const Rgb drawn = Contrast::over(rgb(text), text.alphaF(), rgb(background));
    return Contrast::ratio(drawn, rgb(background));
}

class ThemeContrast : public ::testing::TestWithParam<std::pair<const char*, QPalette>> {};

// Every text colour reads at 4.5:1 or better on every surface it is drawn on, where
// the glow behind makes it hardest, and every button label on its fill.
TEST_P(ThemeContrast, EveryTextReadsOnEverySurfaceAndEveryLabelOnItsFill) {
    const QPalette& palette = GetParam().second;
    for (const TextColor text : {TextColor::primary, TextColor::secondary, TextColor::caution}) {
        for (const TovoTheme::Surface surface : TovoTheme::allSurfaces) {
            EXPECT_GE(ratioOn(TovoTheme::textColor(text, palette),
                              TovoTheme::surfaceColor(surface, palette)),
                      Contrast::minimumTextRatio)
                << "text " << static_cast<int>(text) << " on surface " << static_cast<int>(surface);
        }
    }
    for (const QColor& fill :
         {TovoTheme::accent(), TovoTheme::accentEnd(), TovoTheme::prominentAccent(),
          TovoTheme::destructiveFill(), TovoTheme::destructivePressedFill()}) {
        EXPECT_GE(ratioOn(TovoTheme::labelOn(fill), fill), Contrast::minimumTextRatio)
            << fill.name().toStdString();
    }
    EXPECT_GE(ratioOn(palette.color(QPalette::ButtonText), palette.color(QPalette::Button)),
              Contrast::minimumTextRatio);
}

INSTANTIATE_TEST_SUITE_P(Appearances, ThemeContrast,
                         ::testing::Values(std::pair{"Light", TovoTheme::lightPalette()},
                                           std::pair{"Dark", TovoTheme::darkPalette()}),
                         [](const auto& info) { return std::string(info.param.first); });

} // namespace
} // namespace tovo::testing
