#include "GuiHarness.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"

#include <QAction>
#include <gmock/gmock.h>

namespace tovo::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAreArray;

// Key presses reach shortcuts only in the active window. (Offscreen, a sheet's
// focus is its own focus widget; the application's stays with the window behind.)
void activate(QWidget& window) {
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
}

TEST(Keyboard, ReadyFocusesEjectAndReturnPressesIt) {
    WindowHarness harness(DemoScenarioKind::ready);
    harness.showAndList();
    activate(harness.window());
    EXPECT_EQ(QApplication::focusWidget(), harness.actionBar().primaryButton());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
}

// Return must never send a stop request: Cancel is the default and has the focus.
TEST(Keyboard, ReturnInTheStopSheetCancels) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    harness.click(harness.rows().at(0)->stopButton());
    StopProcessConfirmationView* sheet = harness.content().stopConfirmation();
    ASSERT_NE(sheet, nullptr);
    activate(*sheet);
    EXPECT_EQ(sheet->focusWidget(), sheet->cancelButton());
    EXPECT_TRUE(sheet->cancelButton()->isDefault());
    EXPECT_FALSE(sheet->confirmButton()->isDefault());
    EXPECT_EQ(sheet->confirmButton()->role(), ButtonRole::destructive);

    QTest::keyClick(sheet->focusWidget(), Qt::Key_Return);
    ASSERT_TRUE(harness.runUntil([&] { return harness.content().stopConfirmation() == nullptr; }));
    EXPECT_TRUE(harness.workflow().phase().is<EjectionPhase::Blocked>());
    EXPECT_TRUE(harness.workflow().releaseAttempts().empty());
}

TEST(Keyboard, TheReviewOpensWithItsMainButtonFocusedAndDefault) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    ASSERT_NE(review, nullptr);
    activate(*review);
    EXPECT_EQ(review->focusWidget(), review->confirmButton());
    EXPECT_TRUE(review->confirmButton()->isDefault());
}

// Tab walks the screen from top to bottom, every stop a control one can see.
TEST(Keyboard, TabFollowsTheScreenFromTopToBottom) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    activate(harness.window());
    BlockingProcessRow* row = harness.rows().at(0);
    const std::vector<QWidget*> screen{harness.content().header()->refreshButton(),
                                       harness.content().diskSelector()->cards().at(0),
                                       row->disclosureButton(),
                                       row->stopButton(),
                                       harness.actionBar().safeButton(),
                                       harness.actionBar().primaryButton()};
    screen.front()->setFocus(Qt::TabFocusReason);
    std::vector<QWidget*> visited{QApplication::focusWidget()};
    for (std::size_t step = 1; step < screen.size(); ++step) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        visited.push_back(QApplication::focusWidget());
    }
    EXPECT_THAT(visited, ElementsAreArray(screen));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), screen.front()) << "and round again";
}

// Check Again from the keyboard: while Tovo works the status holds the focus, then
// it comes back to the buttons.
TEST(Keyboard, CheckAgainKeepsTheFocusOnTheScreen) {
    WindowHarness harness(DemoScenarioKind::blocked);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    activate(harness.window());
    harness.actionBar().primaryButton()->setFocus(Qt::TabFocusReason);
    std::vector<QWidget*> busyFocus;
    QObject::connect(&harness.content(), &ContentView::rendered, [&] {
        if (harness.workflow().phase().isBusy()) {
            busyFocus.push_back(QApplication::focusWidget());
        }
    });
    QTest::keyClick(harness.actionBar().primaryButton(), Qt::Key_Space);
    ASSERT_TRUE(harness.runUntil([&] {
        return !busyFocus.empty() && harness.workflow().phase().is<EjectionPhase::Blocked>();
    }));
    EXPECT_THAT(busyFocus, Each(harness.content().statusPanel()));
    EXPECT_EQ(QApplication::focusWidget(), harness.actionBar().primaryButton());
}

TEST(Keyboard, ControlQQuits) {
    WindowHarness harness(DemoScenarioKind::ready);
    harness.showAndList();
    activate(harness.window());
    QTest::keyClick(&harness.window(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_TRUE(harness.runUntil([&] { return !harness.window().isVisible(); }));
}

} // namespace
} // namespace tovo::testing
