#include "GuiHarness.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"

#include <QToolButton>
#include <gmock/gmock.h>

namespace tovo::testing {
namespace {

using ::testing::ElementsAre;

TEST(DemoFlow, TovoableRunReviewsAndEjectsThroughTheSheet) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    EXPECT_TRUE(harness.actionBar().primaryButton()->isProminent());

    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    // With something Tovo may quit, the review is the recommended way on.
    EXPECT_TRUE(harness.actionBar().safeButton()->isProminent());
    EXPECT_FALSE(harness.actionBar().primaryButton()->isProminent());
    const auto rows = harness.rows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0]->accessibleName(), QStringLiteral("Preview"));

    // Open files stay behind the disclosure until asked for.
    EXPECT_FALSE(rows[0]->details()->isVisible());
    harness.click(rows[0]->disclosureButton());
    EXPECT_TRUE(rows[0]->details()->isVisible());

    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    ASSERT_NE(review, nullptr);
    EXPECT_TRUE(review->isVisible());
    EXPECT_EQ(review->windowModality(), Qt::WindowModal);
    EXPECT_EQ(review->content().eligibleCount, 1U);

    harness.click(review->confirmButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_EQ(harness.content().tovoConfirmation(), nullptr);
    ASSERT_TRUE(harness.statusPanel().content().has_value());
    EXPECT_EQ(harness.statusPanel().content()->kind, StatusViewKind::success);
    EXPECT_EQ(harness.statusPanel().content()->title, "Ejected safely");

    harness.click(harness.actionBar().primaryButton());
    EXPECT_TRUE(harness.runUntilPhase<EjectionPhase::Ready>());
}

TEST(DemoFlow, BlockedRunOffersNoReleaseButStopsTheVirtualMachine) {
    WindowHarness harness(DemoScenarioKind::blocked);
    harness.showAndList();
    AnnouncementRecorder announcements(harness.content());

    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    EXPECT_TRUE(harness.actionBar().primaryButton()->isProminent());
    EXPECT_FALSE(harness.actionBar().safeButton()->isProminent());

    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    ASSERT_NE(review, nullptr);
    EXPECT_EQ(review->content().eligibleCount, 0U);
    EXPECT_FALSE(review->confirmButton()->isProminent());
    EXPECT_EQ(review->cancelButton(), nullptr);
    harness.click(review->confirmButton()); // the only button: it closes
    ASSERT_TRUE(harness.runUntil([&] { return harness.content().tovoConfirmation() == nullptr; }));
    EXPECT_TRUE(harness.workflow().phase().is<EjectionPhase::Blocked>());
    EXPECT_TRUE(harness.workflow().releaseAttempts().empty());

    const auto rows = harness.rows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0]->accessibleName(), QStringLiteral("Virtual Machine"));
    harness.click(rows[0]->stopButton());
    StopProcessConfirmationView* stop = harness.content().stopConfirmation();
    ASSERT_NE(stop, nullptr);
    EXPECT_EQ(harness.content().stopCandidate()->pid, 90294);
    harness.click(stop->confirmButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_FALSE(harness.content().stopCandidate().has_value());

    EXPECT_THAT(
        announcements.sentences,
        ::testing::IsSupersetOf({"Checking the disk.", "The disk is still in use.",
                                 "Stopping Virtual Machine.", "345-BACKUP ejected safely."}));
}

TEST(DemoFlow, ReadyRunEjectsWithOneClickAndAnnouncesEachStep) {
    WindowHarness harness(DemoScenarioKind::ready);
    harness.showAndList();
    AnnouncementRecorder announcements(harness.content());
    // Listing the disks is no phase change: nothing is said on first display.
    EXPECT_TRUE(announcements.sentences.empty());

    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_THAT(announcements.sentences,
                ElementsAre("Checking the disk.", "345-BACKUP ejected safely."));
}

TEST(DemoFlow, BusyWindowDisablesTheDiskCardsAndTheRefreshButton) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    harness.click(harness.actionBar().safeButton());
    harness.click(harness.content().tovoConfirmation()->confirmButton());

    // The release waits on the settle delay, which only moves when the test says so.
    ASSERT_TRUE(harness.runUntil([&] { return harness.clock().sleeperCount() > 0; }, false));
    EXPECT_TRUE(harness.workflow().phase().isBusy());
    EXPECT_FALSE(harness.content().header()->refreshButton()->isEnabled());
    EXPECT_FALSE(harness.actionBar().primaryButton()->isEnabled());
    EXPECT_FALSE(harness.window().refreshAction()->isEnabled());
    EXPECT_FALSE(harness.window().ejectAction()->isEnabled());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
}

} // namespace
} // namespace tovo::testing
