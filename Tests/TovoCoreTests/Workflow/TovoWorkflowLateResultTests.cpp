#include "TovoCoreTests/Workflow/WorkflowHarness.hpp"

namespace tovo::testing {
namespace {

// The user left a release waiting for its app to quit, then found another disk busy: the
// late look at the first disk must neither touch what the second shows nor eject anything.
TEST(TovoWorkflowLateResultTest, ALateLookAfterTheUserMovedOnLeavesTheNextDiskAlone) {
    WorkflowHarness h;
    h.quitForApps().reachBlocked({editor});
    h.diagnoses->enqueueValue({editor}); // the approval's fresh look
    h.releaser->answerRequestsWith(ReleaseDisposition::requested);
    h.start(h.workflow->performSafeTovo());
    h.advance(1200ms);
    ASSERT_EQ(h.workflow->phase(), EjectionPhase::releasing());

    h.selectOtherDisk();
    h.ejector->ejects.enqueueError(WorkflowHarness::busyFailure());
    h.diagnoses->enqueueValue({shell});
    h.start(h.workflow->attemptEject());
    ASSERT_EQ(h.workflow->phase(), EjectionPhase::blocked());
    const auto ejects = h.ejector->ejects.callCount();

    h.diagnoses->resolve({}); // the editor has gone from Photos at last
    h.run();

    EXPECT_EQ(h.workflow->phase(), EjectionPhase::blocked());
    EXPECT_EQ(h.workflow->selectedDiskID(), backup.id);
    EXPECT_EQ(h.workflow->blockers(), Processes{shell});
    EXPECT_EQ(h.ejector->ejects.callCount(), ejects);
}

} // namespace
} // namespace tovo::testing
