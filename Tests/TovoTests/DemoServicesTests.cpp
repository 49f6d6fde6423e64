#include "DemoTestSupport.hpp"
#include "Support/ModelBuilders.hpp"
#include "Tovo/Support/DemoServices.hpp"
#include "Tovo/Support/DiskCardPresentation.hpp"
#include "Tovo/Support/ProcessPresentation.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace tovo {
namespace {

using testing::DemoExecutors;
using testing::finish;
using testing::makeProcess;

const auto virtualMachine = DemoData::protectedBlockers().front();
const auto preview = DemoData::tovoableBlockers().front();

TEST(DemoData, SampleValuesAreTheOnesTheScreensShow) {
    const auto& disk = DemoData::disk();
    EXPECT_EQ(&DemoData::disk(), &disk);
    EXPECT_EQ(disk.id, "demo-disk");
    EXPECT_EQ(disk.volumes.at(0).mountURL, "/Volumes/345-BACKUP");
    EXPECT_EQ(disk.availableCapacity(), 428'000'000'000);
    EXPECT_EQ(DiskCardPresentation::detailText(disk), "1 TB \u00B7 APFS");
    EXPECT_EQ(ProcessPresentation().name(preview), "Preview");
    EXPECT_EQ(ProcessPresentation::activity(preview), "It has one item open on this disk.");
    EXPECT_EQ(ProcessPresentation().name(virtualMachine), "Virtual Machine");
    EXPECT_EQ(ProcessPresentation::activity(virtualMachine),
              "A virtual machine has files open on this disk.");
}

TEST(DemoScenario, ReadsOnItsOwnExecutorAndResumesOnTheMainOne) {
    DemoExecutors executors;
    DemoScenario scenario(DemoData::tovoableBlockers(), executors.main, executors.isolation);
    std::optional<std::vector<BlockingProcess>> read;
    auto body = [](DemoScenario& source,
                   std::optional<std::vector<BlockingProcess>>& out) -> Task<void> {
        out = co_await source.activeBlockers();
    };
    spawn(executors.main, body(scenario, read));
    executors.main.runAll();
    EXPECT_EQ(executors.isolation->pendingCount(), 1u);
    executors.isolation->runAll();
    EXPECT_FALSE(read) << "the result is delivered on the main executor";
    EXPECT_EQ(executors.main.runAll(), 1u);
    EXPECT_EQ(read, DemoData::tovoableBlockers());
}

TEST(DemoScenario, DefaultIsolationIsAWorkerThreadOfItsOwn) {
    ManualExecutor main;
    DemoScenario scenario(DemoData::protectedBlockers(), main);
    const auto testThread = std::this_thread::get_id();
    std::optional<std::thread::id> resumedOn;
    std::size_t countAfterClear = 99;
    auto body = [](DemoScenario& shared, std::optional<std::thread::id>& thread,
                   std::size_t& count) -> Task<void> {
        co_await shared.clearBlockers();
        count = (co_await shared.activeBlockers()).size();
        thread = std::this_thread::get_id();
    };
    const auto handle = spawn(main, body(scenario, resumedOn, countAfterClear));
    ASSERT_TRUE(main.runUntil([&] { return handle.isDone(); }));
    EXPECT_EQ(resumedOn, testThread);
    EXPECT_EQ(countAfterClear, 0u);
}

TEST(DemoEjector, RefusesAsBusyNamingTheVirtualMachineWhileBlocked) {
    DemoExecutors executors;
    auto services =
        makeDemoServices(DemoScenarioKind::tovoable, executors.main, executors.isolation);
    try {
        finish(executors, services.ejector->eject(testing::makeDisk(1)));
        FAIL() << "the eject should have been refused";
    } catch (const EjectionFailure& failure) {
        EXPECT_EQ(failure, EjectionFailure("The disk is in use.", 90294, EjectionFailureKind::busy,
                                           std::nullopt, std::nullopt));
    }
    finish(executors, services.scenario->clearBlockers());
    EXPECT_NO_THROW(finish(executors, services.ejector->eject(DemoData::disk())));
}

struct PlanCase {
    std::string label;
    bool automatic;
    std::string command;
    ReleaseStrategy strategy;
    std::string message;
    friend void PrintTo(const PlanCase& c, std::ostream* os) { *os << c.label; }
};

class DemoReleasePlanTest : public ::testing::TestWithParam<PlanCase> {};

TEST_P(DemoReleasePlanTest, QuitsOnlyOrdinaryAppsWhenAutomaticQuitIsAllowed) {
    ManualExecutor main;
    DemoProcessReleaser releaser(
        std::make_shared<DemoScenario>(std::vector<BlockingProcess>{}, main), GetParam().automatic);
    const auto plans = releaser.planRelease({makeProcess(5, GetParam().command)});
    ASSERT_EQ(plans.size(), 1u);
    EXPECT_EQ(plans[0],
              (ProcessReleasePlan{5, GetParam().command, GetParam().strategy, GetParam().message}));
}

const std::string stopVM = "Stop the virtual machine, then try again.";

INSTANTIATE_TEST_SUITE_P(
    Cases, DemoReleasePlanTest,
    ::testing::Values(PlanCase{"App", true, "Preview", ReleaseStrategy::quitApplication,
                               "Tovo will ask this app to quit."},
                      PlanCase{"VirtualMachine", true, "com.apple.Virtualization.VirtualMachine",
                               ReleaseStrategy::manualAction, stopVM},
                      PlanCase{"VirtualMachineAnyCase", true,
                               "my-VIRTUALIZATION.virtualmachine-helper",
                               ReleaseStrategy::manualAction, stopVM},
                      PlanCase{"AppWithoutAutomaticQuitStillNamesAVirtualMachine", false, "Preview",
                               ReleaseStrategy::manualAction, stopVM}),
    [](const auto& info) { return info.param.label; });

TEST(DemoProcessReleaser, AutomaticReleaseClearsEveryBlockerEvenAVirtualMachine) {
    DemoExecutors executors;
    auto services =
        makeDemoServices(DemoScenarioKind::tovoable, executors.main, executors.isolation);
    const auto attempts =
        finish(executors, services.releaser->requestRelease({preview, virtualMachine}));
    ASSERT_EQ(attempts.size(), 2u);
    EXPECT_EQ(attempts[0].disposition, ReleaseDisposition::requested);
    EXPECT_EQ(attempts[0].message, "Tovo asked the app to quit.");
    EXPECT_EQ(attempts[0].processName, "Preview");
    EXPECT_EQ(attempts[1].disposition, ReleaseDisposition::needsManualAction);
    EXPECT_EQ(attempts[1].message, stopVM);
    EXPECT_EQ(attempts[1].processID, 90294);
    EXPECT_NE(attempts[0].id, attempts[1].id);
    EXPECT_TRUE(finish(executors, services.scenario->activeBlockers()).empty());
}

TEST(DemoProcessReleaser, ReleaseWithoutAutomaticQuitLeavesTheScenario) {
    DemoExecutors executors;
    auto services =
        makeDemoServices(DemoScenarioKind::blocked, executors.main, executors.isolation);
    const auto attempts =
        finish(executors, services.releaser->requestRelease({preview, virtualMachine}));
    ASSERT_EQ(attempts.size(), 2u);
    EXPECT_EQ(attempts[0].disposition, ReleaseDisposition::needsManualAction);
    EXPECT_EQ(attempts[0].message, "Close this process, then try again.");
    EXPECT_EQ(attempts[1].message, stopVM);
    EXPECT_EQ(finish(executors, services.scenario->activeBlockers()),
              DemoData::protectedBlockers());
}

TEST(DemoProcessReleaser, EmptyAutomaticReleaseStillClears) {
    DemoExecutors executors;
    auto services =
        makeDemoServices(DemoScenarioKind::tovoable, executors.main, executors.isolation);
    EXPECT_TRUE(finish(executors, services.releaser->requestRelease({})).empty());
    EXPECT_TRUE(finish(executors, services.scenario->activeBlockers()).empty());
}

TEST(DemoProcessReleaser, StopPlansNeverSayUnavailable) {
    ManualExecutor main;
    DemoProcessReleaser releaser(
        std::make_shared<DemoScenario>(std::vector<BlockingProcess>{}, main), false);
    EXPECT_EQ(releaser.planStop(virtualMachine),
              (ProcessStopPlan{90294, "Virtual Machine", StopMethod::terminateProcess,
                               "Tovo will send one stop request (SIGTERM) to Virtual Machine. Most "
                               "tools stop cleanly. Tovo never forces a kill.",
                               "A running virtual machine can lose unsaved state. Stop it from its "
                               "own app if you can."}));
    EXPECT_EQ(releaser.planStop(preview),
              (ProcessStopPlan{63120, "Preview", StopMethod::quitApplication,
                               "Tovo will ask this app to quit, the same as Quit in its menu. The "
                               "app can still show a save dialog.",
                               std::nullopt}));
}

} // namespace
} // namespace tovo
