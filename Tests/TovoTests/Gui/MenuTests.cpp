#include "GuiHarness.hpp"
#include "Tovo/Support/MenuPresentation.hpp"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

namespace tovo::testing {
namespace {

// The menu must show, at every step, what the rules say for the workflow's state.
void expectMenuFollows(WindowHarness& harness) {
    const EjectionPhase& phase = harness.workflow().phase();
    const auto disk = harness.workflow().selectedDisk();
    EXPECT_EQ(harness.window().ejectAction()->text().toStdString(),
              MenuPresentation::ejectCommandTitle(phase, disk))
        << phase.caseName();
    EXPECT_EQ(harness.window().ejectAction()->isEnabled(),
              MenuPresentation::isEjectCommandEnabled(phase, disk))
        << phase.caseName();
    EXPECT_EQ(harness.window().refreshAction()->isEnabled(),
              MenuPresentation::isRefreshCommandEnabled(phase))
        << phase.caseName();
}

TEST(DiskMenu, HoldsRefreshAndEjectWithTheirShortcutsAndNoNewWindow) {
    WindowHarness harness(DemoScenarioKind::ready);
    const QList<QAction*> menus = harness.window().menuBar()->actions();
    ASSERT_EQ(menus.size(), 1);
    EXPECT_EQ(menus[0]->text(), QStringLiteral("&Disk")) << "Alt+D opens it";
    EXPECT_EQ(menus[0]->iconText(), QStringLiteral("Disk"));
    const QList<QAction*> items = harness.window().diskMenu()->actions();
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items[0], harness.window().refreshAction());
    EXPECT_EQ(items[1], harness.window().ejectAction());
    EXPECT_EQ(items[0]->text(), QStringLiteral("Refresh Disks"));
    EXPECT_EQ(items[0]->shortcut(), QKeySequence(QStringLiteral("Ctrl+R")));
    EXPECT_EQ(items[1]->shortcut(), QKeySequence(QStringLiteral("Ctrl+E")));
    EXPECT_EQ(harness.window().windowTitle(), QStringLiteral("Tovo"));
}

TEST(DiskMenu, FollowsThePhaseThroughTheTovoableRun) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    expectMenuFollows(harness); // before the first listing: no disk, "Eject Disk", off
    EXPECT_FALSE(harness.window().ejectAction()->isEnabled());
    harness.showAndList();
    expectMenuFollows(harness);
    EXPECT_EQ(harness.window().ejectAction()->text(), QStringLiteral("Eject 345-BACKUP"));

    // Ctrl+E runs the eject, as the menu item does.
    QTest::keyClick(&harness.window(), Qt::Key_E, Qt::ControlModifier);
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    expectMenuFollows(harness);
    EXPECT_EQ(harness.window().ejectAction()->text(), QStringLiteral("Check Again"));
    EXPECT_TRUE(harness.window().ejectAction()->isEnabled());

    harness.click(harness.actionBar().safeButton());
    harness.click(harness.content().tovoConfirmation()->confirmButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    expectMenuFollows(harness);
    // A finished result is dismissed in the window before the list is read again.
    EXPECT_FALSE(harness.window().refreshAction()->isEnabled());

    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ready>());
    expectMenuFollows(harness);
}

TEST(DiskMenu, CheckAgainFromTheMenuRunsANewEjectAttempt) {
    WindowHarness harness(DemoScenarioKind::blocked);
    harness.showAndList();
    harness.window().ejectAction()->trigger();
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    AnnouncementRecorder announcements(harness.content());
    harness.window().ejectAction()->trigger();
    ASSERT_TRUE(harness.runUntil([&] {
        return !announcements.sentences.empty() &&
               harness.workflow().phase().is<EjectionPhase::Blocked>();
    }));
    EXPECT_EQ(announcements.sentences.front(), "Checking the disk.");
}

} // namespace
} // namespace tovo::testing
