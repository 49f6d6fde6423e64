#include "GuiHarness.hpp"
#include "Support/FakeWriteOutMonitor.hpp"
#include "Support/ScriptedServices.hpp"
#include "Tovo/Views/WriteOutStatusView.hpp"

#include <QLabel>
#include <QMessageBox>
#include <gmock/gmock.h>

namespace tovo::testing {
namespace {

using ::testing::ElementsAre;

/// The demo's disk, an eject that waits for the test, and a monitor that finds the
/// disk being written with 312 MB left.
struct WritingEject {
    ServiceGraph graph(Executor& executor) {
        auto graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
        ejector = std::make_shared<ScriptedDiskEjector>(executor);
        auto monitor = std::make_shared<FakeWriteOutMonitor>(executor);
        monitor->samples.setValue({true, 312'000'000, WriteOutScope::disk, 8'200'000});
        graph.ejector = ejector;
        graph.writeOutMonitor = monitor;
        return graph;
    }

    std::shared_ptr<ScriptedDiskEjector> ejector;
};

/// Ejects the listed disk and waits until the write-out is on screen.
WriteOutStatusView* ejectUntilWriting(WindowHarness& harness) {
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    const bool shown = harness.runUntil([&] {
        const auto* view = harness.statusPanel().writeOutView();
        return view != nullptr && view->isVisible();
    });
    return shown ? harness.statusPanel().writeOutView() : nullptr;
}

QAbstractButton* buttonTitled(QMessageBox& box, const QString& title) {
    for (auto* button : box.buttons()) {
        if (button->text() == title) {
            return button;
        }
    }
    return nullptr;
}

class WriteOutWindow : public ::testing::TestWithParam<bool> {};

// The parameter: whether the person quits anyway when asked.
TEST_P(WriteOutWindow, ShowsWhatIsLeftWhileEjectingAndAsksBeforeClosing) {
    WritingEject eject;
    WindowHarness harness(std::nullopt, [&](Executor& executor) { return eject.graph(executor); });
    AnnouncementRecorder announcements(harness.content());
    auto* view = ejectUntilWriting(harness);
    ASSERT_NE(view, nullptr);
    const auto name = QString::fromStdString(harness.workflow().selectedDisk()->displayName);
    EXPECT_EQ(view->detailLabel()->text(), "312 MB left to write to this disk, at 8.2 MB/s.");
    EXPECT_THAT(announcements.sentences,
                ElementsAre("Checking the disk.", "Still writing data to " + name.toStdString() +
                                                      ". Do not unplug it yet."));

    // Closing asks first; keeping Tovo open leaves everything running, quitting closes it.
    EXPECT_FALSE(harness.window().close());
    QMessageBox* question = harness.window().closeQuestion();
    ASSERT_NE(question, nullptr);
    harness.click(buttonTitled(*question, GetParam() ? "Quit Anyway" : "Keep Waiting"));
    ASSERT_TRUE(harness.runUntil([&] {
        return harness.window().closeQuestion() == nullptr &&
               harness.window().isVisible() == !GetParam();
    }));
    if (GetParam()) {
        return;
    }

    // Only udisks2's answer ends the write-out; then nothing is left to ask about.
    eject.ejector->ejects.resolve();
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_FALSE(view->isVisible());
    EXPECT_TRUE(harness.window().close());
}

INSTANTIATE_TEST_SUITE_P(Answers, WriteOutWindow, ::testing::Bool(), [](const auto& info) {
    return info.param ? "QuitAnyway" : "KeepWaiting";
});

} // namespace
} // namespace tovo::testing
