// The demo scenarios end to end in the window, by mouse, keyboard and menu.
#include "GuiHarness.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <gmock/gmock.h>

namespace tovo::testing {
namespace {

using ::testing::Each;

TEST(DemoFlow, ReadyDiskEjectsFromTheKeyboardAndTheStatusDescribesTheCard) {
    WindowHarness harness(DemoScenarioKind::ready);
    harness.showAndList();
    QLabel* badge = harness.content().header()->demoBadge();
    EXPECT_TRUE(badge != nullptr && badge->isVisible() && badge->text() == QStringLiteral("Demo"));

    activate(harness.window());
    EXPECT_EQ(QApplication::focusWidget(), harness.actionBar().primaryButton());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());

    // The status describes what the card says now, not the last news.
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ready>());
    EXPECT_EQ(harness.workflow().disks().size(), 1U) << "listed again";
    EXPECT_TRUE(harness.statusPanel().accessibleDescription().startsWith(
        QStringLiteral("Ready to eject. Tovo")));

    QTest::keyClick(&harness.window(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_TRUE(harness.runUntil([&] { return !harness.window().isVisible(); }));
}

TEST(DemoFlow, TovoableAppIsReviewedAskedToQuitAndTheDiskEjects) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    MainWindow& window = harness.window();
    const QList<QAction*> menus = window.menuBar()->actions();
    ASSERT_EQ(menus.size(), 1) << "no New Window";
    EXPECT_EQ(menus[0]->text(), QStringLiteral("&Disk")) << "Alt+D opens it";
    EXPECT_EQ(window.diskMenu()->actions(),
              (QList<QAction*>{window.refreshAction(), window.ejectAction()}));

    harness.showAndList();
    QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    // With something Tovo may quit, the review is the recommended way on.
    ActionBar& bar = harness.actionBar();
    EXPECT_EQ(std::pair(bar.safeButton()->isProminent(), bar.primaryButton()->isProminent()),
              std::pair(true, false));
    BlockingProcessRow* row = harness.rows().at(0);
    EXPECT_EQ(row->accessibleName(), QStringLiteral("Preview"));

    // Tab walks the screen from top to bottom, and round again.
    activate(window);
    QWidget* refresh = harness.content().header()->refreshButton();
    refresh->setFocus(Qt::TabFocusReason);
    for (QWidget* next : std::initializer_list<QWidget*>{
             harness.content().diskSelector()->cards().at(0), row->disclosureButton(),
             row->stopButton(), bar.safeButton(), bar.primaryButton(), refresh}) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        EXPECT_EQ(QApplication::focusWidget(), next) << next->metaObject()->className();
    }

    // Open files stay behind the disclosure until asked for.
    EXPECT_FALSE(row->details()->isVisible());
    harness.click(row->disclosureButton());
    EXPECT_TRUE(row->details()->isVisible());

    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    ASSERT_NE(review, nullptr);
    activate(*review);
    EXPECT_EQ(std::tuple(review->windowModality(), review->focusWidget(),
                         review->confirmButton()->isDefault()),
              std::tuple(Qt::WindowModal, review->confirmButton(), true));
    harness.click(review->confirmButton());

    // The release waits on the settle delay, which only moves when the test says so.
    ASSERT_TRUE(harness.runUntil([&] { return harness.clock().sleeperCount() > 0; }, false));
    // Nothing can be pressed while Tovo works: no eject, no refresh, no switching disks.
    EXPECT_EQ(std::tuple(bar.primaryButton()->isEnabled(), window.ejectAction()->isEnabled(),
                         window.refreshAction()->isEnabled(), refresh->isEnabled(),
                         harness.content().diskSelector()->cards().at(0)->isEnabled()),
              std::tuple(false, false, false, false, false));
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_EQ(harness.content().tovoConfirmation(), nullptr);
    EXPECT_EQ(harness.workflow().releaseAttempts().at(0).message, "Tovo asked the app to quit.");
    EXPECT_FALSE(refresh->isEnabled()) << "as the menu's: nothing to refresh on success";
}

TEST(DemoFlow, BlockedDiskIsCheckedAgainAndOnlyAConfirmedStopClearsIt) {
    WindowHarness harness(DemoScenarioKind::blocked);
    harness.showAndList();
    harness.window().ejectAction()->trigger();
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    EXPECT_EQ(std::pair(harness.actionBar().primaryButton()->isProminent(),
                        harness.actionBar().safeButton()->isProminent()),
              std::pair(true, false));

    // Check Again from the keyboard: while Tovo works the status holds the focus, then
    // it comes back to the button.
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

    // Nothing Tovo may quit: the review only explains, and its one button closes it.
    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    ASSERT_NE(review, nullptr);
    EXPECT_FALSE(review->confirmButton()->isProminent());
    EXPECT_EQ(review->cancelButton(), nullptr);
    harness.click(review->confirmButton());
    ASSERT_TRUE(harness.runUntil([&] { return harness.content().tovoConfirmation() == nullptr; }));
    EXPECT_TRUE(harness.workflow().phase().is<EjectionPhase::Blocked>());
    EXPECT_TRUE(harness.workflow().releaseAttempts().empty());

    harness.click(harness.rows().at(0)->stopButton());
    StopProcessConfirmationView* stop = harness.content().stopConfirmation();
    ASSERT_NE(stop, nullptr);
    EXPECT_EQ(harness.content().stopCandidate()->pid, 90294);
    harness.click(stop->confirmButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_FALSE(harness.content().stopCandidate().has_value());
    EXPECT_EQ(harness.workflow().releaseAttempts().at(0).message,
              "Tovo sent a stop request to Virtual Machine.");
}

// No process holds the sample disk, yet it is busy: the blocked screen says why,
// the review lists what Tovo will ask the system to release, and the eject follows.
TEST(DemoFlow, LayeredCausesAreShownAndReleasedThroughTheReview) {
    WindowHarness harness(DemoScenarioKind::layered);
    harness.showAndList();
    harness.ejectUntilBlocked();
    EXPECT_TRUE(harness.rows().empty());
    const auto& causes = harness.statusPanel().blockedView()->causeRows();
    ASSERT_EQ(causes.size(), 2U);
    EXPECT_TRUE(causes[1]->sentenceLabel()->isVisible());

    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    ASSERT_NE(review, nullptr);
    harness.click(review->confirmButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_THAT(
        harness.workflow().causeAttempts(),
        Each(::testing::Field(&BusyCauseAttempt::disposition, ReleaseDisposition::requested)));
}

enum class Sheet { review, stop };

// Name, sheet, the key that cancels it (Qt::Key_unknown: the Cancel button is clicked).
using CancelCase = std::tuple<const char*, Sheet, Qt::Key>;

class SheetCancel : public ::testing::TestWithParam<CancelCase> {};

// Cancelling either sheet must ask nothing of any process: the phase, plans and
// attempts stay, and the disk is still held. A stop can lose work, so Return in the
// stop sheet cancels too: Cancel is its default and has the focus.
TEST_P(SheetCancel, LeavesEverythingAsItWas) {
    const auto& [name, which, key] = GetParam();
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.ejectUntilBlocked();
    const auto blockers = harness.workflow().blockers();
    const auto plans = harness.workflow().releasePlans();

    harness.click(which == Sheet::review
                      ? harness.actionBar().safeButton()
                      : static_cast<QAbstractButton*>(harness.rows().at(0)->stopButton()));
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    StopProcessConfirmationView* stop = harness.content().stopConfirmation();
    QDialog* sheet = review != nullptr ? static_cast<QDialog*>(review) : stop;
    ASSERT_NE(sheet, nullptr);
    QPushButton* cancel = review != nullptr ? review->cancelButton() : stop->cancelButton();
    if (stop != nullptr) {
        activate(*stop);
        EXPECT_EQ(std::tuple(stop->focusWidget(), cancel->isDefault(),
                             stop->confirmButton()->isDefault(), stop->confirmButton()->role()),
                  std::tuple(cancel, true, false, ButtonRole::destructive));
    }
    if (key == Qt::Key_unknown) {
        harness.click(cancel);
    } else {
        QTest::keyClick(key == Qt::Key_Return ? sheet->focusWidget() : sheet, key);
    }

    ASSERT_TRUE(harness.runUntil([&] {
        return harness.content().tovoConfirmation() == nullptr &&
               harness.content().stopConfirmation() == nullptr;
    }));
    const TovoWorkflow& workflow = harness.workflow();
    EXPECT_EQ(std::tuple(harness.content().showsTovoConfirmation(),
                         harness.content().stopCandidate().has_value(),
                         workflow.phase().is<EjectionPhase::Blocked>(), workflow.blockers(),
                         workflow.releasePlans(), workflow.releaseAttempts().size()),
              std::tuple(false, false, true, blockers, plans, 0U));

    // Nothing was released behind the scenes: checking again still finds the holder.
    AnnouncementRecorder announcements(harness.content());
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntil([&] { return announcements.sentences.size() == 3; }));
    EXPECT_EQ(std::tuple(announcements.sentences.back(), harness.workflow().blockers().size()),
              std::tuple("The disk is still in use.", 1U));
}

INSTANTIATE_TEST_SUITE_P(
    Sheets, SheetCancel,
    ::testing::Values(CancelCase{"ReviewByButton", Sheet::review, Qt::Key_unknown},
                      CancelCase{"ReviewByEscape", Sheet::review, Qt::Key_Escape},
                      CancelCase{"StopByButton", Sheet::stop, Qt::Key_unknown},
                      CancelCase{"StopByEscape", Sheet::stop, Qt::Key_Escape},
                      CancelCase{"StopByReturn", Sheet::stop, Qt::Key_Return}),
    [](const auto& info) { return std::string(std::get<0>(info.param)); });

} // namespace
} // namespace tovo::testing
