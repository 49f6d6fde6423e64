#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

namespace tovo::testing {
namespace {

struct CancelledEjectCase {
    const char* label;
    bool retried;          ///< the eject after a release, else the first one
    bool systemFinishedIt; ///< the eject's answer arrives before the cancellation does
};

class TovoWorkflowCancelledEjectTest : public ::testing::TestWithParam<CancelledEjectCase> {};

// However the cancelled eject ends, the disk stays listed and nothing says it is safe.
TEST_P(TovoWorkflowCancelledEjectTest, NeverEndsInAnAllClear) {
    const auto& param = GetParam();
    WorkflowHarness h;
    if (param.retried) {
        h.reachBlocked({editor});
        h.diagnoses->setValue({});
        h.start(h.workflow->performSafeTovo());
        h.advance(2s);
        ASSERT_EQ(h.workflow->phase(), EjectionPhase::retrying());
    } else {
        h.listDisks({photos, backup});
        h.start(h.workflow->attemptEject());
        ASSERT_EQ(h.workflow->phase(), EjectionPhase::ejecting());
    }
    h.logger.clear();

    if (param.systemFinishedIt) {
        h.ejector->ejects.resolve();
    }
    h.started.back().requestCancellation();
    h.run();

    EXPECT_TRUE(h.started.back().isDone());
    EXPECT_EQ(h.workflow->phase(), unconfirmedEject(photos));
    EXPECT_THAT(h.logger.entries(), ElementsAre(unconfirmedLogged));
    EXPECT_EQ(h.workflow->disks(), (std::vector{photos, backup}));
    EXPECT_EQ(h.workflow->selectedDiskID(), photos.id);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, TovoWorkflowCancelledEjectTest,
    ::testing::Values(CancelledEjectCase{"firstEjectCancelled", false, false},
                      CancelledEjectCase{"firstEjectFinishedButCancelled", false, true},
                      CancelledEjectCase{"retriedEjectCancelled", true, false},
                      CancelledEjectCase{"retriedEjectFinishedButCancelled", true, true}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo::testing
