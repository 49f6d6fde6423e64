#include "GuiHarness.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"

namespace tovo::testing {
namespace {

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

    QDialog* sheet = nullptr;
    QPushButton* cancel = nullptr;
    if (which == Sheet::review) {
        harness.click(harness.actionBar().safeButton());
        SafeTovoConfirmationView* review = harness.content().tovoConfirmation();
        ASSERT_NE(review, nullptr);
        sheet = review;
        cancel = review->cancelButton();
    } else {
        harness.click(harness.rows().at(0)->stopButton());
        StopProcessConfirmationView* stop = harness.content().stopConfirmation();
        ASSERT_NE(stop, nullptr);
        sheet = stop;
        cancel = stop->cancelButton();
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
    ASSERT_TRUE(harness.runUntil([&] {
        return announcements.sentences.size() == 3 &&
               harness.workflow().phase().is<EjectionPhase::Blocked>();
    }));
    EXPECT_EQ(announcements.sentences.back(), "The disk is still in use.");
    EXPECT_EQ(harness.workflow().blockers().size(), 1U);
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
