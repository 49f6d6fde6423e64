#include "GuiHarness.hpp"
#include "Tovo/Support/CrowdedSample.hpp"
#include "Tovo/Support/MenuPresentation.hpp"
#include "Tovo/Views/DetailText.hpp"

#include <QAction>
#include <QLabel>
#include <QScrollBar>

namespace tovo::testing {
namespace {

class NoDisks final : public VolumeProviding {
public:
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        co_return std::vector<ExternalDisk>{};
    }
};

// Until the first listing answers, the window does not know there are no disks.
TEST(FirstListing, LooksForDisksBeforeSayingThereAreNone) {
    WindowHarness harness(std::nullopt, [](Executor& executor) {
        ServiceGraph graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
        graph.volumeProvider = std::make_shared<NoDisks>();
        return graph;
    });
    ASSERT_TRUE(harness.statusPanel().content());
    EXPECT_EQ(harness.statusPanel().content()->title, "Looking for disks\u2026");
    EXPECT_FALSE(harness.actionBar().primaryButton()->isVisibleTo(&harness.window()))
        << "nothing to eject, no disabled Eject";
    harness.showAndList(0);
    ASSERT_TRUE(harness.runUntil([&] { return harness.content().hasListedDisks(); }));
    EXPECT_EQ(harness.statusPanel().content()->title, "No external disks");
}

TEST(DemoBadge, TheDemoSaysItIsOneAndTheRealWindowDoesNot) {
    WindowHarness demo(DemoScenarioKind::ready);
    QLabel* badge = demo.content().header()->demoBadge();
    ASSERT_NE(badge, nullptr);
    EXPECT_EQ(badge->text(), QStringLiteral("Demo"));
    demo.showAndList();
    EXPECT_TRUE(badge->isVisible());

    WindowHarness real(std::nullopt, [](Executor& executor) {
        return makeDemoServiceGraph(DemoScenarioKind::ready, executor);
    });
    EXPECT_EQ(real.content().header()->demoBadge(), nullptr);
}

// The header's refresh does what the menu's does: on the success screen, nothing,
// so it must not look as if it could.
TEST(HeaderRefresh, IsEnabledExactlyWhenTheMenuItemIs) {
    WindowHarness harness(DemoScenarioKind::ready);
    const auto expectSame = [&] {
        EXPECT_EQ(harness.content().header()->refreshButton()->isEnabled(),
                  harness.window().refreshAction()->isEnabled())
            << harness.workflow().phase().caseName();
    };
    harness.showAndList();
    expectSame();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    expectSame();
    EXPECT_FALSE(harness.content().header()->refreshButton()->isEnabled());
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ready>());
    expectSame();
}

// The status tells a screen reader what the card says now, not the last news.
TEST(StatusDescription, FollowsTheCardAfterTheResultIsDismissed) {
    WindowHarness harness(DemoScenarioKind::ready);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_TRUE(harness.statusPanel().accessibleDescription().startsWith(
        QStringLiteral("Ejected safely.")));
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ready>());
    EXPECT_EQ(harness.statusPanel().accessibleDescription(),
              QStringLiteral("Ready to eject. Tovo will try the system's normal eject first."));
}

// lsof's escapes are undone and shown as a person reads them.
TEST(OpenFiles, ShowLsofEscapesAsReadableText) {
    WindowHarness harness(std::nullopt, CrowdedSample::serviceGraph);
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Blocked>());
    BlockingProcessRow* copier = harness.rows().at(3);
    ASSERT_EQ(copier->accessibleName(), QStringLiteral("rsync"));
    const auto* details = qobject_cast<DetailText*>(copier->details());
    ASSERT_NE(details, nullptr);
    const QString text = details->toPlainText();
    EXPECT_TRUE(text.contains(QStringLiteral("/Inbox/new\u23CEline.txt"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("/Inbox/back\\slash.txt")));
    EXPECT_TRUE(text.contains(QStringLiteral("/Inbox/caf\u00E9 \uFFFD.jpg")));
    EXPECT_FALSE(text.contains(QStringLiteral("\\n")));
    EXPECT_FALSE(text.contains(QStringLiteral("\\x")));
    copier->setExpanded(true);
    harness.runUntil([] { return true; });
    EXPECT_EQ(details->verticalScrollBar()->maximum(), 0) << "as tall as its lines";
}

} // namespace
} // namespace tovo::testing
