#include "GuiHarness.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"

namespace tovo::testing {
namespace {

enum class Sheet { review, stop };
enum class Dismissal { cancelButton, escapeKey };

struct CancelCase {
    const char* label;
    Sheet sheet;
    Dismissal dismissal;
};

class SheetCancel : public ::testing::TestWithParam<CancelCase> {};

// Cancelling either review, by its button or by Escape, must ask nothing of any
// process: the phase, plans and attempts stay, and the disk is still held.
TEST_P(SheetCancel, LeavesEverythingAsItWas) {
    const CancelCase& param = GetParam();
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
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
        sheet = harness.content().stopConfirmation();
        ASSERT_NE(sheet, nullptr);
        cancel = harness.content().stopConfirmation()->cancelButton();
    }
    if (param.dismissal == Dismissal::cancelButton) {
        harness.click(cancel);
    } else {
        QTest::keyClick(sheet, Qt::Key_Escape);
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
    ::testing::Values(CancelCase{"ReviewByButton", Sheet::review, Dismissal::cancelButton},
                      CancelCase{"ReviewByEscape", Sheet::review, Dismissal::escapeKey},
                      CancelCase{"StopByButton", Sheet::stop, Dismissal::cancelButton},
                      CancelCase{"StopByEscape", Sheet::stop, Dismissal::escapeKey}),
    [](const ::testing::TestParamInfo<CancelCase>& info) { return info.param.label; });

} // namespace
} // namespace tovo::testing
