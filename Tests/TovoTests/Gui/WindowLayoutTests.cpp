#include "GuiHarness.hpp"
#include "Tovo/Support/CrowdedSample.hpp"
#include "Tovo/Views/FittedScrollArea.hpp"
#include "Tovo/Views/SafeTovoConfirmationView.hpp"
#include "Tovo/Views/SheetEntry.hpp"
#include "Tovo/Views/StopProcessConfirmationView.hpp"

#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>

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
}

INSTANTIATE_TEST_SUITE_P(Widths, LongNameLayout, ::testing::Values(420, 440, 560));

// Opening a row in the review makes the sheet taller, up to the screen; past that
// its list scrolls. Its header is never squeezed.
void expectHeaderNotSqueezed(SheetFrame& sheet) {
    for (QLabel* label : sheet.findChildren<QLabel*>()) {
        if (!label->isVisibleTo(&sheet) || sheet.list()->isAncestorOf(label) ||
            !label->wordWrap()) {
            continue;
        }
        EXPECT_GE(label->height(), label->heightForWidth(label->width()))
            << label->text().toStdString();
    }
}

// Sheets are exactly as large as their content, with no maximise button.
void expectFixed(QDialog& sheet) {
    EXPECT_EQ(sheet.minimumSize(), sheet.maximumSize());
    EXPECT_FALSE(sheet.windowFlags().testFlag(Qt::WindowMaximizeButtonHint));
}

TEST(ReleaseReview, GrowsWhenARowOpensAndKeepsItsHeaderWhole) {
    WindowHarness harness(DemoScenarioKind::tovoable);
    harness.showAndList();
    harness.ejectUntilBlocked();
    harness.click(harness.actionBar().safeButton());
    SafeTovoConfirmationView& review = *harness.content().tovoConfirmation();
    expectFixed(review);
    const int closed = review.height();
    harness.click(review.entries().at(0)->disclosureButton());
    harness.settle();
    EXPECT_GT(review.height(), closed);
    expectFixed(review);
    EXPECT_EQ(review.list()->verticalScrollBar()->maximum(), 0) << "it fits: nothing scrolls";
    expectHeaderNotSqueezed(review);
    review.reject();
    harness.click(harness.rows().at(0)->stopButton());
    harness.settle();
    ASSERT_NE(harness.content().stopConfirmation(), nullptr);
    expectFixed(*harness.content().stopConfirmation());
}

} // namespace
} // namespace tovo::testing
