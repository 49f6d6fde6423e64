#include "GuiHarness.hpp"
#include "Support/ModelBuilders.hpp"
#include "Support/ScriptedServices.hpp"
#include "Tovo/Support/CrowdedSample.hpp"
#include "Tovo/Views/DetailText.hpp"

#include <QAction>
#include <QLabel>
#include <QScrollBar>

namespace tovo::testing {
namespace {

/// The demo's services over a listing the test answers.
std::function<ServiceGraph(Executor&)> listing(std::shared_ptr<ScriptedVolumeProvider>& provider) {
    return [&provider](Executor& executor) {
        ServiceGraph graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
        provider = std::make_shared<ScriptedVolumeProvider>(executor);
        graph.volumeProvider = provider;
        return graph;
    };
}

// Until the first listing answers, the window does not know there are no disks; a
// listing that a later refresh overtook says nothing either.
TEST(FirstListing, LooksForDisksUntilTheLatestListingAnswersThenSaysThereAreNone) {
    std::shared_ptr<ScriptedVolumeProvider> provider;
    WindowHarness harness(std::nullopt, listing(provider));
    EXPECT_EQ(harness.content().header()->demoBadge(), nullptr) << "only the demo says it is one";
    harness.app().show();
    ASSERT_TRUE(harness.runUntil([&] { return provider->listing.callCount() == 1; }));
    harness.window().refreshAction()->trigger();
    ASSERT_TRUE(harness.runUntil([&] { return provider->listing.callCount() == 2; }));
    provider->listing.resolve();
    harness.settle();
    EXPECT_FALSE(harness.content().hasListedDisks());
    EXPECT_EQ(harness.statusPanel().content()->title, "Looking for disks\u2026");
    EXPECT_FALSE(harness.actionBar().primaryButton()->isVisible()) << "no disabled Eject";
    provider->listing.resolve();
    ASSERT_TRUE(harness.runUntil([&] { return harness.content().hasListedDisks(); }));
    EXPECT_EQ(harness.statusPanel().content()->title, "No external disks");
    EXPECT_FALSE(harness.content().diskSelector()->isVisible());
}

class DiskSelection : public ::testing::TestWithParam<bool> {};

// With reduce motion the new selection is complete at once; otherwise it eases in.
TEST_P(DiskSelection, ClickingACardSelectsItsDiskAnimatedOnlyWhenMotionIsAllowed) {
    const bool reduceMotion = GetParam();
    std::shared_ptr<ScriptedVolumeProvider> provider;
    WindowHarness harness(std::nullopt, listing(provider), reduceMotion);
    provider->listing.setValue({makeDisk(1), makeDisk(2, "DISK2")});
    harness.showAndList(2);
    const auto& cards = harness.content().diskSelector()->cards();
    ASSERT_TRUE(cards[0]->isSelected());
    EXPECT_EQ(harness.content().diskSelector()->countBadge()->text(), QStringLiteral("2"));
    harness.click(cards[1]);
    ASSERT_TRUE(harness.runUntil([&] { return cards[1]->isSelected(); }, false));
    EXPECT_EQ(harness.workflow().selectedDiskID(), std::optional<std::string>("attachment:2"));
    EXPECT_FALSE(cards[0]->isSelected());
    EXPECT_EQ(harness.window().ejectAction()->text(), QStringLiteral("Eject DISK2"));
    EXPECT_EQ(cards[1]->isAnimating(), !reduceMotion);
    if (!reduceMotion) {
        EXPECT_LT(cards[1]->selectionProgress(), 1.0);
        ASSERT_TRUE(harness.runUntil([&] { return !cards[1]->isAnimating(); }, false));
    }
    EXPECT_EQ(cards[1]->selectionProgress(), 1.0);
    EXPECT_EQ(cards[0]->selectionProgress() == 0.0, !cards[0]->isAnimating());
}

INSTANTIATE_TEST_SUITE_P(ReduceMotion, DiskSelection, ::testing::Bool());

// lsof's escapes are undone and shown as a person reads them.
TEST(OpenFiles, ShowLsofEscapesAsReadableTextAsTallAsTheirLines) {
    WindowHarness harness(std::nullopt, CrowdedSample::serviceGraph);
    harness.showAndList();
    harness.ejectUntilBlocked();
    BlockingProcessRow* copier = harness.rows().at(3);
    ASSERT_EQ(copier->accessibleName(), QStringLiteral("rsync"));
    const auto* details = qobject_cast<DetailText*>(copier->details());
    ASSERT_NE(details, nullptr);
    const QString text = details->toPlainText();
    EXPECT_TRUE(text.contains(QStringLiteral("/Inbox/new\u23CEline.txt"))) << text.toStdString();
    copier->setExpanded(true);
    harness.settle();
    EXPECT_EQ(details->verticalScrollBar()->maximum(), 0);
}

} // namespace
} // namespace tovo::testing
