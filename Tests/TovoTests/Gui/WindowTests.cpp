#include "GuiHarness.hpp"
#include "Support/FakeWriteOutMonitor.hpp"
#include "Support/ModelBuilders.hpp"
#include "Support/ScriptedServices.hpp"
#include "Tovo/Support/CrowdedSample.hpp"
#include "Tovo/Views/DetailText.hpp"
#include "Tovo/Views/FittedScrollArea.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/SheetEntry.hpp"
#include "Tovo/Views/WriteOutStatusView.hpp"

#include <QAction>
#include <QLabel>
#include <QMessageBox>
#include <QScrollArea>
#include <QScrollBar>
#include <gmock/gmock.h>

namespace tovo::testing {
namespace {

// Every widget the window shows lies inside it: nothing reaches past the right edge,
// where it could not be seen or clicked.
void expectInsideTheWindow(ContentView& content) {
    QWidget* viewport = content.scrollArea()->viewport();
    for (QWidget* widget : content.column()->findChildren<QWidget*>()) {
        if (!widget->isVisibleTo(content.column())) {
            continue;
        }
        const QRect box(widget->mapTo(viewport, QPoint(0, 0)), widget->size());
        EXPECT_GE(box.left(), 0) << widget->metaObject()->className();
        EXPECT_LE(box.right(), viewport->width() - 1)
            << widget->metaObject()->className() << " " << widget->accessibleName().toStdString();
    }
}

class LongNameLayout : public ::testing::TestWithParam<int> {};

// A 66-character name without a space, four holders with long paths: at every width
// the window allows, all of it stays within reach.
TEST_P(LongNameLayout, NothingReachesPastTheWindowAtAnyWidthItAllows) {
    WindowHarness harness(std::nullopt, CrowdedSample::serviceGraph);
    harness.showAndList();
    harness.window().resize(GetParam(), harness.window().height());
    harness.settle();
    expectInsideTheWindow(harness.content());

    harness.ejectUntilBlocked();
    for (BlockingProcessRow* row : harness.rows()) {
        row->setExpanded(true);
    }
    harness.settle();
    ASSERT_EQ(harness.rows().size(), 4U);
    expectInsideTheWindow(harness.content());
    EXPECT_TRUE(harness.actionBar().safeButton()->isVisible());
    // The copier's open files: lsof's escapes read as a person reads them, in text as
    // tall as its lines.
    const auto* details = qobject_cast<DetailText*>(harness.rows().at(3)->details());
    ASSERT_NE(details, nullptr);
    EXPECT_TRUE(details->toPlainText().contains(QStringLiteral("/Inbox/new\u23CEline.txt")));
    EXPECT_EQ(details->verticalScrollBar()->maximum(), 0);
}

INSTANTIATE_TEST_SUITE_P(Widths, LongNameLayout, ::testing::Values(420, 440, 560));

// Opening a row in the review makes the sheet taller, up to the screen; past that
// its list scrolls. Its header is never squeezed. Sheets are exactly as large as their
// content, with no maximise button.
TEST(ReleaseReview, GrowsWhenARowOpensAndKeepsItsHeaderWhole) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.ejectUntilBlocked();
    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView& review = *harness.content().tovoConfirmation();
    const int closed = review.height();
    harness.click(review.entries().at(0)->disclosureButton());
    harness.settle();
    EXPECT_GT(review.height(), closed);
    EXPECT_EQ(review.minimumSize(), review.maximumSize());
    EXPECT_FALSE(review.windowFlags().testFlag(Qt::WindowMaximizeButtonHint));
    EXPECT_EQ(review.list()->verticalScrollBar()->maximum(), 0) << "it fits: nothing scrolls";
    for (QLabel* label : review.findChildren<QLabel*>()) {
        if (label->isVisibleTo(&review) && !review.list()->isAncestorOf(label) &&
            label->wordWrap()) {
            EXPECT_GE(label->height(), label->heightForWidth(label->width()))
                << label->text().toStdString();
        }
    }
}

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
    QTest::keyClick(&harness.window(), Qt::Key_R, Qt::ControlModifier);
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
    harness.click(cards[1]);
    ASSERT_TRUE(harness.runUntil([&] { return cards[1]->isSelected(); }, false));
    EXPECT_EQ(
        std::tuple(harness.workflow().selectedDiskID().value_or(""), cards[0]->isSelected(),
                   harness.window().ejectAction()->text(),
                   harness.content().diskSelector()->countBadge()->text()),
        std::tuple("attachment:2", false, QStringLiteral("Eject DISK2"), QStringLiteral("2")));
    EXPECT_EQ(cards[1]->isAnimating(), !reduceMotion);
    if (!reduceMotion) {
        EXPECT_LT(cards[1]->selectionProgress(), 1.0);
        ASSERT_TRUE(harness.runUntil([&] { return !cards[1]->isAnimating(); }, false));
    }
    EXPECT_EQ(cards[1]->selectionProgress(), 1.0);
    EXPECT_EQ(cards[0]->selectionProgress() == 0.0, !cards[0]->isAnimating());
}

INSTANTIATE_TEST_SUITE_P(ReduceMotion, DiskSelection, ::testing::Bool());

using ::testing::ElementsAre;

QAbstractButton* buttonTitled(QMessageBox& box, const QString& title) {
    const auto buttons = box.buttons();
    const auto found = std::ranges::find_if(buttons, [&](auto* b) { return b->text() == title; });
    return found == buttons.end() ? nullptr : *found;
}

class WriteOutWindow : public ::testing::TestWithParam<bool> {};

// The parameter: whether the person quits anyway when asked.
TEST_P(WriteOutWindow, ShowsWhatIsLeftWhileEjectingAndAsksBeforeClosing) {
    // The demo's disk, an eject that waits for the test, and 312 MB left to write.
    std::shared_ptr<ScriptedDiskEjector> ejector;
    WindowHarness harness(std::nullopt, [&](Executor& executor) {
        auto graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
        graph.ejector = ejector = std::make_shared<ScriptedDiskEjector>(executor);
        auto monitor = std::make_shared<FakeWriteOutMonitor>(executor);
        monitor->samples.setValue({true, 312'000'000, WriteOutScope::disk, 8'200'000});
        graph.writeOutMonitor = monitor;
        return graph;
    });
    AnnouncementRecorder announcements(harness.content());
    harness.showAndList();
    harness.click(harness.actionBar().primaryButton());
    // Until the write-out is on screen.
    WriteOutStatusView* view = nullptr;
    ASSERT_TRUE(harness.runUntil([&] {
        view = harness.statusPanel().writeOutView();
        return view != nullptr && view->isVisible();
    }));
    EXPECT_TRUE(view->detailLabel()->text().startsWith("312 MB left"));
    // Listing the disks is no phase change: nothing was said before the eject.
    EXPECT_THAT(announcements.sentences,
                ElementsAre("Checking the disk.", ::testing::StartsWith("Still writing data")));

    // Closing asks first; keeping Tovo open leaves everything running, quitting closes it.
    EXPECT_FALSE(harness.window().close());
    QMessageBox* question = harness.window().closeQuestion();
    ASSERT_NE(question, nullptr);
    harness.click(buttonTitled(*question, GetParam() ? "Quit Anyway" : "Keep Waiting"));
    ASSERT_TRUE(harness.runUntil([&] {
        return harness.window().closeQuestion() == nullptr &&
               harness.window().isVisible() == !GetParam();
    }));
    if (GetParam()) {
        return;
    }

    // Only udisks2's answer ends the write-out; then nothing is left to ask about.
    ejector->ejects.resolve();
    ASSERT_TRUE(harness.runUntilPhase<EjectionPhase::Ejected>());
    EXPECT_FALSE(view->isVisible());
    EXPECT_TRUE(harness.window().close());
}

INSTANTIATE_TEST_SUITE_P(Answers, WriteOutWindow, ::testing::Bool(), [](const auto& info) {
    return info.param ? "QuitAnyway" : "KeepWaiting";
});

} // namespace
} // namespace tovo::testing
