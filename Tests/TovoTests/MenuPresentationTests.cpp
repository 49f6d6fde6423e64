#include "PresentationTestValues.hpp"
#include "Tovo/Support/MenuPresentation.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace MenuPresentation;

struct MenuCase {
    std::string label;
    EjectionPhase phase;
    bool hasDisk;
    std::string title;
    bool ejectEnabled;
    bool refreshEnabled;
    friend void PrintTo(const MenuCase& c, std::ostream* os) { *os << c.label; }
};

class MenuTest : public ::testing::TestWithParam<MenuCase> {};

TEST_P(MenuTest, TitleAndEnablementFollowThePhase) {
    const auto& c = GetParam();
    const auto disk = c.hasDisk ? std::optional(testing::makeDisk(7, "Photos")) : std::nullopt;
    EXPECT_EQ(ejectCommandTitle(c.phase, disk), c.title);
    EXPECT_EQ(isEjectCommandEnabled(c.phase, disk), c.ejectEnabled);
    EXPECT_EQ(isRefreshCommandEnabled(c.phase), c.refreshEnabled);
}

const auto retry = EjectionPhase::failed("T", "M", FailureRecovery::retryEject);
const auto refresh = EjectionPhase::failed("T", "M", FailureRecovery::refreshDisks);

INSTANTIATE_TEST_SUITE_P(
    Phases, MenuTest,
    ::testing::Values(
        MenuCase{"ReadyWithDisk", EjectionPhase::ready(), true, "Eject Photos", true, true},
        MenuCase{"ReadyWithoutDisk", EjectionPhase::ready(), false, "Eject Disk", false, true},
        MenuCase{"Blocked", EjectionPhase::blocked(), true, "Check Again", true, true},
        MenuCase{"BlockedWithoutDisk", EjectionPhase::blocked(), false, "Check Again", false, true},
        MenuCase{"Ejecting", EjectionPhase::ejecting(), true, "Eject Photos", false, false},
        MenuCase{"Diagnosing", EjectionPhase::diagnosing(), true, "Eject Photos", false, false},
        MenuCase{"Releasing", EjectionPhase::releasing(), true, "Eject Photos", false, false},
        MenuCase{"Retrying", EjectionPhase::retrying(), true, "Eject Photos", false, false},
        MenuCase{"Stopping", EjectionPhase::stopping("vim"), true, "Eject Photos", false, false},
        MenuCase{"EjectedDisablesRefreshToo", EjectionPhase::ejected("Photos"), true,
                 "Eject Photos", false, false},
        MenuCase{"FailedRetry", retry, true, "Try Eject Again", true, true},
        MenuCase{"FailedRetryWithoutDisk", retry, false, "Try Eject Again", false, true},
        MenuCase{"FailedRefresh", refresh, true, "Eject Disk", false, true},
        MenuCase{"FailedRefreshWithoutDisk", refresh, false, "Eject Disk", false, true}),
    [](const auto& info) { return info.param.label; });

} // namespace
} // namespace tovo
