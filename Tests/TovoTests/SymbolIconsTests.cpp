#include "PresentationTestValues.hpp"
#include "Tovo/Support/ActionBarPresentation.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/DiskCardPresentation.hpp"
#include "Tovo/Support/ReleaseReviewPresentation.hpp"
#include "Tovo/Support/StatusPresentation.hpp"
#include "Tovo/Support/StopConfirmationPresentation.hpp"
#include "Tovo/Support/SymbolIcons.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace tovo {
namespace {

using testing::attempt;
using testing::makeDisk;
using testing::makeProcess;

// Every symbol the presentation functions hand to the views, gathered by running them.
std::set<std::string> symbolsInUse() {
    std::set<std::string> symbols{
        DiskCardPresentation::badgeSymbol, DiskCardPresentation::refreshSymbol,
        DiskCardPresentation::fallbackDiskSymbol, DiskCardPresentation::selectionSymbol(true),
        DiskCardPresentation::selectionSymbol(false)};
    const auto disk = makeDisk(1);
    for (const auto& phase : testing::everyPhase()) {
        for (const auto& selected : {std::optional(disk), std::optional<ExternalDisk>()}) {
            if (auto symbol = StatusPresentation::content(phase, selected, {}, {}).symbol) {
                symbols.insert(*symbol);
            }
        }
    }
    for (const auto* command : {"Preview", "VirtualBox", "mds", "zsh"}) {
        symbols.insert(ProcessPresentation::fallbackSymbol(makeProcess(1, command)));
    }
    const std::vector plans{testing::quitPlan(1), testing::manualPlan(2)};
    for (const auto disposition :
         {ReleaseDisposition::requested, ReleaseDisposition::alreadyClosed,
          ReleaseDisposition::needsManualAction, ReleaseDisposition::failed}) {
        symbols.insert(ProcessPresentation::statusSymbol(std::nullopt, attempt(1, disposition)));
    }
    for (const auto& plan : plans) {
        symbols.insert(ProcessPresentation::statusSymbol(plan, std::nullopt));
    }
    const std::vector blockers{makeProcess(1), makeProcess(2), makeProcess(3)};
    for (const auto& reviewPlans : {plans, std::vector{testing::manualPlan(1)}}) {
        const auto review =
            ReleaseReviewPresentation::content(ProcessPresentation(), disk, blockers, reviewPlans);
        symbols.insert(review.headerSymbol);
        for (const auto& entry : review.entries) {
            symbols.insert(entry.symbol);
        }
    }
    const auto sheet =
        StopConfirmationPresentation::content(ProcessPresentation(), makeProcess(1), std::nullopt);
    symbols.insert(sheet.warningSymbol);
    symbols.insert(sheet.unavailableSymbol);
    return symbols;
}

TEST(SymbolIcons, EverySymbolTheScreensUseHasAThemeIcon) {
    for (const auto& symbol : symbolsInUse()) {
        EXPECT_TRUE(hasThemeIcon(symbol)) << symbol;
    }
    EXPECT_EQ(themeIconName("no.such.symbol"), "image-missing");
    EXPECT_EQ(themeIconName("arrow.clockwise"), "view-refresh");
}

TEST(SymbolIcons, TableNamesEachSymbolOnce) {
    std::set<std::string_view> seen;
    for (const auto& entry : symbolIconTable()) {
        EXPECT_TRUE(seen.insert(entry.symbol).second) << entry.symbol;
    }
}

TEST(SymbolIcons, ThemeIconsExistInAdwaita) {
    const std::filesystem::path theme = "/usr/share/icons/Adwaita";
    if (!std::filesystem::is_directory(theme)) {
        GTEST_SKIP() << "the Adwaita icon theme is not installed";
    }
    std::set<std::string> available;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(theme)) {
        auto name = entry.path().filename().string();
        for (const auto* suffix : {".symbolic.png", ".png", ".svg"}) {
            const std::string_view ending(suffix);
            if (name.ends_with(ending)) {
                available.insert(name.substr(0, name.size() - ending.size()));
                break;
            }
        }
    }
    for (const auto& entry : symbolIconTable()) {
        EXPECT_TRUE(available.contains(std::string(entry.themeIcon))) << entry.themeIcon;
    }
}

} // namespace
} // namespace tovo
