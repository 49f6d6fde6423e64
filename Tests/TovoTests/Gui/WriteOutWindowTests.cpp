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

QAbstractButton* buttonTitled(QMessageBox& box, const QString& title) {
    const auto buttons = box.buttons();
    const auto found = std::ranges::find_if(buttons, [&](auto* b) { return b->text() == title; });
    return found == buttons.end() ? nullptr : *found;
}

class WriteOutWindow : public ::testing::TestWithParam<bool> {};

// The parameter: whether the person quits anyway when asked.
TEST_P(WriteOutWindow, ShowsWhatIsLeftWhileEjectingAndAsksBeforeClosing) {
    // The demo's disk, an eject that waits for the test, and 312 MB left to write.
    std::shared_ptr<ScriptedDiskEjector> ejector;
    WindowHarness harness(std::nullopt, [&](Executor& executor) {
        auto graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
        ejector = std::make_shared<ScriptedDiskEjector>(executor);
        auto monitor = std::make_shared<FakeWriteOutMonitor>(executor);
        monitor->samples.setValue({true, 312'000'000, WriteOutScope::disk, 8'200'000});
        graph.ejector = ejector;
        graph.writeOutMonitor = monitor;
        return graph;
    });
    AnnouncementRecorder announcements(harness.content());
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    // Until the write-out is on screen.
    WriteOutStatusView* view = nullptr;
    ASSERT_TRUE(harness.runUntil([&] {
        view = harness.statusPanel().writeOutView();
        return view != nullptr && view->isVisible();
    }));
    EXPECT_TRUE(view->detailLabel()->text().startsWith("312 MB left"));
    EXPECT_THAT(announcements.sentences,
                ElementsAre("Checking the disk.", ::testing::StartsWith("Still writing data")));

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
    ejector->ejects.resolve();
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_FALSE(view->isVisible());
    EXPECT_TRUE(harness.window().close());
}

INSTANTIATE_TEST_SUITE_P(Answers, WriteOutWindow, ::testing::Bool(), [](const auto& info) {
    return info.param ? "QuitAnyway" : "KeepWaiting";
});

} // namespace
} // namespace tovo::testing
