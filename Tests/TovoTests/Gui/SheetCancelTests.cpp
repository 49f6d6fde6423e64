#include "GuiHarness.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"

namespace tovo::testing {
namespace {

enum class Sheet { review, stop };

struct CancelCase {
    const char* label;
    Sheet sheet;
    Qt::Key key; ///< Qt::Key_unknown: the Cancel button is clicked
};

class SheetCancel : public ::testing::TestWithParam<CancelCase> {};

// Cancelling either sheet must ask nothing of any process: the phase, plans and
// attempts stay, and the disk is still held. A stop can lose work, so Return in the
// stop sheet cancels too: Cancel is its default and has the focus.
TEST_P(SheetCancel, LeavesEverythingAsItWas) {
    const CancelCase& param = GetParam();
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.ejectUntilBlocked();
    const auto blockers = harness.workflow().blockers();
    const auto plans = harness.workflow().releasePlans();

    QDialog* sheet = nullptr;
    QPushButton* cancel = nullptr;
    if (param.sheet == Sheet::review) {
        harness.click(harness.actionBar().safeButton());
        sheet = harness.content().tovoConfirmation();
        ASSERT_NE(sheet, nullptr);
        cancel = harness.content().tovoConfirmation()->cancelButton();
    } else {
        harness.click(harness.rows().at(0)->stopButton());
        StopProcessConfirmationView* stop = harness.content().stopConfirmation();
        ASSERT_NE(stop, nullptr);
        sheet = stop;
        cancel = stop->cancelButton();
        activate(*stop);
        EXPECT_EQ(stop->focusWidget(), cancel);
        EXPECT_TRUE(cancel->isDefault());
        EXPECT_FALSE(stop->confirmButton()->isDefault());
        EXPECT_EQ(stop->confirmButton()->role(), ButtonRole::destructive);
    }
    if (param.key == Qt::Key_unknown) {
        harness.click(cancel);
    } else {
        QTest::keyClick(param.key == Qt::Key_Return ? sheet->focusWidget() : sheet, param.key);
    }

    ASSERT_TRUE(harness.runUntil([&] {
        return harness.content().tovoConfirmation() == nullptr &&
               harness.content().stopConfirmation() == nullptr;
    }));
    EXPECT_FALSE(harness.content().showsTovoConfirmation());
    EXPECT_FALSE(harness.content().stopCandidate().has_value());
    EXPECT_TRUE(harness.workflow().phase().is<EjectionPhase::Blocked>());
    EXPECT_EQ(harness.workflow().blockers(), blockers);
    EXPECT_EQ(harness.workflow().releasePlans(), plans);
    EXPECT_TRUE(harness.workflow().releaseAttempts().empty());

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
    [](const ::testing::TestParamInfo<CancelCase>& info) { return info.param.label; });

} // namespace
} // namespace tovo::testing
