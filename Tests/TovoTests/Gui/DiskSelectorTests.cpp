#include "GuiHarness.hpp"
#include "Support/ModelBuilders.hpp"
#include "Tovo/Views/DiskCard.hpp"
#include "Tovo/Views/DiskSelectorView.hpp"

#include <QGridLayout>
#include <QLabel>

namespace tovo::testing {
namespace {

/// Lists a fixed set of disks; the rest of the graph is the ready demo's.
class FixedVolumeProvider final : public VolumeProviding {
public:
    explicit FixedVolumeProvider(std::vector<ExternalDisk> disks)
        : disks_(std::move(disks)) {}
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override { co_return disks_; }

private:
    std::vector<ExternalDisk> disks_;
};

std::function<ServiceGraph(Executor&)> listing(std::vector<ExternalDisk> disks) {
    return [disks](Executor& executor) {
        ServiceGraph graph = makeDemoServiceGraph(DemoScenarioKind::ready, executor);
        graph.volumeProvider = std::make_shared<FixedVolumeProvider>(disks);
        return graph;
    };
}

std::vector<ExternalDisk> disks(int count) {
    std::vector<ExternalDisk> listed;
    for (int index = 1; index <= count; ++index) {
        listed.push_back(
            makeDisk(static_cast<std::uint64_t>(index), "DISK" + std::to_string(index)));
    }
    return listed;
}

struct GridCase {
    int diskCount;
    int columns;
    int rows;
};

class DiskGrid : public ::testing::TestWithParam<GridCase> {};

TEST_P(DiskGrid, LaysTheCardsOutInOneOrTwoColumns) {
    const GridCase& param = GetParam();
    WindowHarness harness(std::nullopt, listing(disks(param.diskCount)));
    harness.showAndList(static_cast<std::size_t>(param.diskCount));
    DiskSelectorView& selector = *harness.content().diskSelector();
    ASSERT_EQ(selector.cards().size(), static_cast<std::size_t>(param.diskCount));
    int lastRow = 0;
    int lastColumn = 0;
    auto* grid = selector.findChild<QGridLayout*>();
    ASSERT_NE(grid, nullptr);
    for (DiskCard* card : selector.cards()) {
        int row = 0;
        int column = 0;
        int rowSpan = 0;
        int columnSpan = 0;
        grid->getItemPosition(grid->indexOf(card), &row, &column, &rowSpan, &columnSpan);
        lastRow = std::max(lastRow, row);
        lastColumn = std::max(lastColumn, column);
    }
    EXPECT_EQ(lastColumn + 1, param.columns);
    EXPECT_EQ(lastRow + 1, param.rows);
    EXPECT_EQ(selector.countBadge()->text(), QString::number(param.diskCount));
}

INSTANTIATE_TEST_SUITE_P(Counts, DiskGrid,
                         ::testing::Values(GridCase{1, 1, 1}, GridCase{2, 2, 1},
                                           GridCase{3, 2, 2}));

TEST(DiskSelector, IsAbsentWithoutDisksAndThePanelSaysSo) {
    WindowHarness harness(std::nullopt, listing({}));
    harness.showAndList(0);
    ASSERT_TRUE(harness.runUntil([&] { return harness.statusPanel().content().has_value(); }));
    EXPECT_FALSE(harness.content().diskSelector()->isVisible());
    EXPECT_EQ(harness.statusPanel().content()->kind, StatusViewKind::emptyDisks);
}

TEST(DiskSelector, ClickingACardSelectsItsDisk) {
    WindowHarness harness(std::nullopt, listing(disks(2)));
    harness.showAndList(2);
    const auto& cards = harness.content().diskSelector()->cards();
    ASSERT_TRUE(cards[0]->isSelected());
    harness.click(cards[1]);
    ASSERT_TRUE(harness.runUntil([&] { return cards[1]->isSelected(); }));
    EXPECT_EQ(harness.workflow().selectedDiskID(), std::optional<std::string>("attachment:2"));
    EXPECT_FALSE(cards[0]->isSelected());
    EXPECT_TRUE(cards[1]->isChecked());
    EXPECT_EQ(harness.window().ejectAction()->text(), QStringLiteral("Eject DISK2"));
}

class SelectionMotion : public ::testing::TestWithParam<bool> {};

// With reduce motion the new selection is complete at once; otherwise it eases in.
TEST_P(SelectionMotion, AnimatesOnlyWhenMotionIsAllowed) {
    const bool reduceMotion = GetParam();
    WindowHarness harness(std::nullopt, listing(disks(2)), reduceMotion);
    harness.showAndList(2);
    const auto& cards = harness.content().diskSelector()->cards();
    harness.click(cards[1]);
    ASSERT_TRUE(harness.runUntil([&] { return cards[1]->isSelected(); }, false));
    if (reduceMotion) {
        EXPECT_FALSE(cards[1]->isAnimating());
        EXPECT_EQ(cards[1]->selectionProgress(), 1.0);
    } else {
        EXPECT_TRUE(cards[1]->isAnimating());
        EXPECT_LT(cards[1]->selectionProgress(), 1.0);
        ASSERT_TRUE(harness.runUntil([&] { return !cards[1]->isAnimating(); }, false));
        EXPECT_EQ(cards[1]->selectionProgress(), 1.0);
    }
    EXPECT_EQ(cards[0]->selectionProgress() == 0.0, !cards[0]->isAnimating());
}

INSTANTIATE_TEST_SUITE_P(ReduceMotion, SelectionMotion, ::testing::Bool());

} // namespace
} // namespace tovo::testing
