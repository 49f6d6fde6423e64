#include "GuiHarness.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"

#include <QLabel>
#include <QToolButton>
#include <gmock/gmock.h>

namespace tovo::testing {
namespace {

using ::testing::ElementsAre;

// No process holds the sample disk, yet it is busy: the blocked screen says why,
// the review lists what Tovo will ask the system to release, and the eject follows.
TEST(LayeredDemo, ShowsTheCausesAndReleasesThemThroughTheReview) {
    WindowHarness harness(DemoScenarioKind::layered);
    harness.showAndList();

    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    BlockedStatusView* blocked = harness.statusPanel().blockedView();
    ASSERT_NE(blocked, nullptr);
    EXPECT_TRUE(blocked->rows().empty());
    const auto& causes = blocked->causeRows();
    ASSERT_EQ(causes.size(), 2U);
    EXPECT_EQ(causes[1]->sentenceLabel()->text(),
              QStringLiteral("A disk image from this disk is attached as /dev/loop3."));
    EXPECT_TRUE(causes[1]->sentenceLabel()->isVisible());
    EXPECT_EQ(causes[0]->accessibleName(), QStringLiteral("File system inside this disk"));
    EXPECT_EQ(harness.statusPanel().content()->title, "2 things keep this disk busy");
    // Tovo can release both: the review is the recommended way on.
    EXPECT_TRUE(harness.actionBar().safeButton()->isProminent());
    EXPECT_FALSE(harness.actionBar().primaryButton()->isProminent());

    EXPECT_FALSE(causes[1]->details()->isVisible());
    harness.click(causes[1]->disclosureButton());
    EXPECT_TRUE(causes[1]->details()->isVisible());

    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
    ASSERT_NE(review, nullptr);
    EXPECT_TRUE(review->content().canConfirm);
    ASSERT_EQ(review->content().causeEntries.size(), 2U);
    EXPECT_EQ(review->confirmButton()->text(), QStringLiteral("Release and Eject"));

    harness.click(review->confirmButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_THAT(harness.workflow().causeAttempts(),
                ::testing::Each(::testing::Field(&BusyCauseAttempt::disposition,
                                                 ReleaseDisposition::requested)));
}

} // namespace
} // namespace tovo::testing
