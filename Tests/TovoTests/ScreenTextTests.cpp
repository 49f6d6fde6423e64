#include "PresentationTestValues.hpp"
#include "Support/FakeApplicationRegistry.hpp"
#include "Support/FakeWriteOutMonitor.hpp"
#include "Support/ScriptedBusyCauseFinder.hpp"
#include "Tovo/Support/ActionBarPresentation.hpp"
#include "Tovo/Support/Announcements.hpp"
#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/BusyCausePresentation.hpp"
#include "Tovo/Support/MenuPresentation.hpp"
#include "Tovo/Support/ReleaseReviewPresentation.hpp"
#include "Tovo/Support/StatusPresentation.hpp"
#include "Tovo/Support/StopConfirmationPresentation.hpp"
#include "Tovo/Support/WriteOutPresentation.hpp"
#include "Tovo/Support/WriteOutWatch.hpp"

#include <gmock/gmock.h>

namespace tovo {
namespace {

using namespace testing;

// Phase, card kind, title, message, announcement.
using StatusCase =
    std::tuple<EjectionPhase, StatusViewKind, std::string, std::string, std::optional<std::string>>;

class StatusTest : public ::testing::TestWithParam<StatusCase> {};

TEST_P(StatusTest, ShowsTheCardTitleMessageAndAnnouncementOfThePhase) {
    const auto& [phase, kind, title, message, said] = GetParam();
    const auto content = StatusPresentation::content(phase, makeDisk(3, "345-BACKUP"),
                                                     {makeProcess(1), makeProcess(2)}, {});
    EXPECT_EQ(std::tuple(content.kind, content.title, content.message, announcement(phase)),
              std::tuple(kind, title, message, said));
    expectThemeIcon(content.symbol);
}

using enum StatusViewKind;
const std::string quit = "Asking eligible apps to quit.";
const std::string gone = "The blockers are gone.";

INSTANTIATE_TEST_SUITE_P(
    Phases, StatusTest,
    ::testing::Values(
        StatusCase{EjectionPhase::ready(), ready, "Ready to eject",
                   "Tovo will try the system's normal eject first.", std::nullopt},
        StatusCase{EjectionPhase::ejecting(), busy, "Checking \u201C345-BACKUP\u201D\u2026",
                   "Trying a normal eject first.", "Checking the disk."},
        StatusCase{EjectionPhase::diagnosing(), busy, "Finding what is in the way\u2026",
                   "Checking which apps and services have files open.",
                   "Finding what is using the disk."},
        StatusCase{EjectionPhase::blocked(), blocked, "2 apps or services are using this disk",
                   "Follow the steps below, then check again.", "The disk is still in use."},
        StatusCase{EjectionPhase::releasing(), busy, "Releasing \u201C345-BACKUP\u201D\u2026", quit,
                   quit},
        StatusCase{EjectionPhase::retrying(), busy, "Ejecting \u201C345-BACKUP\u201D\u2026", gone,
                   gone + " Ejecting the disk."},
        StatusCase{EjectionPhase::stopping("Virtual Machine"), busy,
                   "Stopping \u201CVirtual Machine\u201D\u2026",
                   "Waiting for it to release the disk.", "Stopping Virtual Machine."},
        StatusCase{EjectionPhase::ejected("Old Name"), success, "Ejected safely",
                   "You can unplug \u201COld Name\u201D.", "Old Name ejected safely."},
        StatusCase{EjectionPhase::failed("Tovo stopped safely", "The disk changed.",
                                         FailureRecovery::retryEject),
                   failure, "Tovo stopped safely", "The disk changed.",
                   "Tovo stopped safely. The disk changed."}));

// Before the first listing answers, "No external disks" would be a guess.
TEST(Status, WithoutADiskAsksForOneAndSaysWhatIsDoneToTheDisk) {
    const auto status = [](EjectionPhase phase, std::optional<ExternalDisk> disk = {}) {
        return StatusPresentation::windowContent(phase, disk, {}, {}, {}, !disk);
    };
    EXPECT_EQ(status(EjectionPhase::ready()).message, "Connect a disk to get started.");
    for (const auto& [phase, title] : {std::pair{EjectionPhase::ejecting(), "Checking disk\u2026"},
                                       {EjectionPhase::releasing(), "Releasing disk\u2026"},
                                       {EjectionPhase::retrying(), "Ejecting disk\u2026"}}) {
        EXPECT_EQ(status(phase).title, title);
    }
}

// The commands each phase offers: the action bar's primary button and the menu's items.

using namespace MenuPresentation;
using enum PrimaryActionKind;

// Phase, primary button kind, title, accessibility label, menu's eject title, menu's
// eject enabled, refresh enabled, Return presses the button (the default action).
using CommandCase = std::tuple<EjectionPhase, PrimaryActionKind, std::string, std::string,
                               std::string, bool, bool, bool>;

class CommandTest : public ::testing::TestWithParam<CommandCase> {};

TEST_P(CommandTest, ActionBarAndMenuFollowThePhase) {
    const auto& [phase, kind, title, label, menuTitle, ejectEnabled, refreshEnabled, isDefault] =
        GetParam();
    const auto disk = makeDisk(1, "Photos");
    const auto bar = ActionBarPresentation::content(phase, disk, {});
    const auto& p = bar.primary;
    EXPECT_EQ(std::tuple(p.kind, p.title, p.accessibilityLabel, p.isDefaultAction),
              std::tuple(kind, title, label, isDefault));
    // Busy, nothing can be pressed, and where nothing can be ejected no Eject is shown.
    EXPECT_EQ(std::pair(p.isEnabled, p.isShown), std::pair(!phase.isBusy(), !phase.isBusy()));
    EXPECT_EQ(bar.safeAction.has_value(), kind == checkAgain);
    EXPECT_EQ(std::tuple(ejectCommandTitle(phase, disk), isEjectCommandEnabled(phase, disk),
                         isRefreshCommandEnabled(phase)),
              std::tuple(menuTitle, ejectEnabled, refreshEnabled));
}

const auto retry = EjectionPhase::failed("T", "M", FailureRecovery::retryEject);
const std::string photos = "Eject Photos";

INSTANTIATE_TEST_SUITE_P(
    Phases, CommandTest,
    ::testing::Values(
        CommandCase{EjectionPhase::ready(), eject, "Eject", photos, photos, true, true, true},
        CommandCase{EjectionPhase::ejecting(), eject, "Eject", photos, photos, false, false, false},
        // Two ways on: the user chooses, Return picks neither.
        CommandCase{EjectionPhase::blocked(), checkAgain, "Check Again",
                    "Check whether Photos can eject", "Check Again", true, true, false},
        CommandCase{retry, tryAgain, "Try Again", "Try Again", "Try Eject Again", true, true, true},
        CommandCase{EjectionPhase::failed("T", "M", FailureRecovery::refreshDisks), refresh,
                    "Refresh Disks", "Refresh external disks", "Eject Disk", false, true, true},
        CommandCase{EjectionPhase::ejected("Photos"), done, "Done", "Done", photos, false, false,
                    true}));

TEST(Commands, WithoutADiskNothingCanBeEjected) {
    const auto ready = EjectionPhase::ready();
    EXPECT_FALSE(ActionBarPresentation::content(ready, std::nullopt, {}).primary.isEnabled);
    EXPECT_EQ(std::tuple(ejectCommandTitle(ready, std::nullopt), isEjectCommandEnabled(ready, {})),
              std::tuple("Eject Disk", false));
}

TEST(ActionBar, BlockedHintFollowsWhetherTovoCanAskAnAppAndTheSafeActionNamesTheDisk) {
    const auto bar = [](std::vector<ProcessReleasePlan> plans, std::string name = "345-BACKUP") {
        return ActionBarPresentation::content(EjectionPhase::blocked(), makeDisk(1, name), plans);
    };
    EXPECT_EQ(bar({manualPlan(1), quitPlan(2)}).primary.accessibilityHint,
              "Checks whether the listed blockers have released the disk.");
    EXPECT_EQ(bar({manualPlan(1)}).primary.accessibilityHint,
              "Follow the steps above, then check the disk again.");
    // Nothing was cut from the name, so there is nothing to add as help.
    EXPECT_EQ(std::tuple(bar({}).safeAction->title, bar({}).safeAction->help),
              std::tuple("Safely eject 345-BACKUP", std::nullopt));
    EXPECT_EQ(ActionBarPresentation::safeTovoButtonTitle(std::nullopt), "Safely eject disk");
    EXPECT_EQ(ActionBarPresentation::checkAgainAccessibilityLabel(std::nullopt),
              "Check the disk again");

    // A long name would make the button as wide as the name, pushing the rest of the
    // window out of reach: the title is cut, the whole name stays in reach.
    const std::string name = "PHOTO_ARCHIVE_2009_2024_FAMILY_TRAVEL_SCANNED_SLIDES_SECOND_COPY_X";
    const auto cut = bar({}, name).safeAction;
    EXPECT_EQ(std::tuple(cut->title, cut->accessibilityLabel, cut->help),
              std::tuple("Safely eject PHOTO_ARCHIVE_2009_\u2026", "Safely eject " + name,
                         "Safely eject " + name));
}

// Eligible apps, blockers with a manual plan, blockers without a plan, title, message.
using ReviewCase = std::tuple<int, int, int, std::string, std::string>;

class ReleaseReviewTest : public ::testing::TestWithParam<ReviewCase> {};

TEST_P(ReleaseReviewTest, TitleAndMessageCountAppsAndRemainingBlockers) {
    const auto& [eligible, manual, unplanned, title, message] = GetParam();
    std::vector<BlockingProcess> blockers;
    std::vector<ProcessReleasePlan> plans;
    for (int pid = 1; pid <= eligible + manual + unplanned; ++pid) {
        blockers.push_back(makeProcess(pid));
        if (pid <= eligible + manual) {
            plans.push_back(pid <= eligible ? quitPlan(pid) : manualPlan(pid));
        }
    }
    const auto r = ReleaseReviewPresentation::content(ProcessPresentation(),
                                                      makeDisk(1, "345-BACKUP"), blockers, plans);
    EXPECT_EQ(std::tuple(r.eligibleCount, r.remainingCount, r.title, r.message),
              std::tuple(std::size_t(eligible), std::size_t(manual + unplanned), title, message));
    const bool asks = eligible > 0;
    EXPECT_EQ(std::tuple(r.canConfirm, r.headerSymbol, r.confirmTitle, r.subline),
              asks ? std::tuple(true, "checkmark.shield.fill", "Ask Apps to Quit",
                                "Save your work before you continue.")
                   : std::tuple(false, "exclamationmark.shield.fill", "Close",
                                "Complete the steps below, then check again."));
}

const std::string attention = "\u201C345-BACKUP\u201D still needs attention";
const std::string confirm = "Safely eject \u201C345-BACKUP\u201D?";
const std::string cannot = "Tovo cannot close these blockers. The disk stays mounted until every "
                           "blocker releases it.";
const std::string tail =
    " It ejects only after the disk is no longer in use. It never force quits.";

INSTANTIATE_TEST_SUITE_P(
    Counts, ReleaseReviewTest,
    ::testing::Values(ReviewCase{0, 2, 0, attention, cannot},
                      ReviewCase{1, 0, 0, confirm, "Tovo will ask one app to quit." + tail},
                      ReviewCase{3, 1, 2, confirm,
                                 "Tovo will ask 3 apps to quit. 3 blockers still need you." +
                                     tail}));

TEST(ReleaseReview, EntriesShowEachBlockersPlanOrAskForReview) {
    const auto review = ReleaseReviewPresentation::content(
        ProcessPresentation(), makeDisk(1),
        {makeProcess(1, "Preview"), makeProcess(2, "com.apple.Virtualization.VirtualMachine"),
         makeProcess(3, "rsync")},
        {quitPlan(1, "Tovo will ask this app to quit."), manualPlan(2)});
    ASSERT_EQ(review.entries.size(), 3u);
    EXPECT_EQ(review.entries[0],
              (ReleaseReviewEntry{1, "Preview", "arrow.right.circle.fill",
                                  "Tovo will ask this app to quit.", "Show details for Preview",
                                  "Hide details for Preview"}));
    EXPECT_EQ(review.entries[2].message, "Review this item before you continue.");
}

TEST(StopConfirmation, ConfirmableWhenThePlanHasAMethodAndNamesTheOwningApplication) {
    FakeApplicationRegistry registry;
    const ProcessPresentation presentation(&registry);
    auto process = makeProcess(9, "com.apple.Virtualization.VirtualMachine");
    process.parentApplication = ParentApplication{90, "Editor", std::nullopt};
    registry.add(RunningApplication{90, "Text Editor", std::nullopt, ActivationPolicy::regular});
    const auto sheet = StopConfirmationPresentation::content(
        presentation, process, stopPlan(9, StopMethod::terminateProcess));
    EXPECT_EQ(
        std::tuple(sheet.canConfirm, sheet.title, sheet.confirmAccessibilityHint, sheet.ownerNote),
        std::tuple(true, "Stop \u201CVirtual Machine\u201D?",
                   "Sends one stop request to Virtual Machine, then rechecks the disk.",
                   "It belongs to Text Editor. You can also close it there yourself."));
}

TEST(StopConfirmation, WithoutAMethodOnlyExplainsAndCloses) {
    for (const auto& plan :
         {std::optional<ProcessStopPlan>(), std::optional(stopPlan(9, StopMethod::unavailable))}) {
        const auto sheet =
            StopConfirmationPresentation::content(ProcessPresentation(), makeProcess(9), plan);
        EXPECT_FALSE(StopConfirmationPresentation::hasSomethingToConfirm(plan));
        EXPECT_EQ(std::tuple(sheet.canConfirm, sheet.unavailableTitle, sheet.cancelTitle,
                             sheet.confirmTitle, sheet.confirmRole),
                  std::tuple(false, "Tovo cannot stop this process.", std::nullopt, "Close",
                             ButtonRole::plain));
    }
}

// "Tovo does not close this one on its own" is false for an app the safe release asks
// to quit; it holds when the release leaves the process to the user.
TEST(StopConfirmation, LastResortNoteOnlyWhereTheSafeReleaseLeavesTheProcessAlone) {
    const auto applies = [](std::optional<ProcessReleasePlan> plan) {
        return StopConfirmationPresentation::content(ProcessPresentation(), makeProcess(9),
                                                     stopPlan(9, StopMethod::quitApplication), plan)
            .lastResortApplies;
    };
    EXPECT_EQ(std::tuple(applies(std::nullopt), applies(manualPlan(9)), applies(quitPlan(9))),
              std::tuple(true, true, false));
}

TEST(BlockerRows, MatchEachBlockerWithItsFirstPlanItsStopPlanAndLatestAttempt) {
    const std::vector plans{manualPlan(2, "second"), quitPlan(1, "first"),
                            quitPlan(2, "duplicate")};
    const std::vector attempts{attempt(1, ReleaseDisposition::requested, "older"),
                               attempt(1, ReleaseDisposition::failed, "newer")};
    const auto rows = blockerRows(ProcessPresentation(), {makeProcess(1), makeProcess(2)}, plans,
                                  {stopPlan(2, StopMethod::terminateProcess)}, attempts);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(std::tuple(rows[0].message, rows[0].stopAction.has_value(), rows[1].message,
                         rows[1].stopAction.has_value()),
              std::tuple("newer", false, "second", true));
}

TEST(BlockerRows, DetailsStopAndShowActions) {
    FakeApplicationRegistry registry;
    const ProcessPresentation presentation(&registry);
    auto process = processWith("bash", {openFile("/m", "cwd", OpenAccess::unknown),
                                        openFile("/m", "rtd", OpenAccess::unknown),
                                        openFile("/m/a", "3r", OpenAccess::read)});
    process.parentApplication = ParentApplication{70, "Editor", std::nullopt};
    registry.add(RunningApplication{70, "Text Editor", std::nullopt, ActivationPolicy::regular});
    const auto row = [&](std::optional<ProcessStopPlan> plan) {
        return blockerRowContent(presentation, process, std::nullopt, plan, std::nullopt);
    };
    EXPECT_EQ(row(std::nullopt).detailLines,
              (std::vector<std::string>{"Current folder: /m", "/m", "/m/a"}));
    EXPECT_FALSE(row(stopPlan(7, StopMethod::unavailable)).stopAction);
    EXPECT_EQ(row(std::nullopt).showAction->title, "Show Text Editor");
    process.openFiles.clear();
    EXPECT_EQ(row(std::nullopt).detailLines,
              (std::vector<std::string>{"No open paths were reported."}));
}

using ::testing::ElementsAre;

BusyCause holder(std::string subject, HolderKind kind) {
    auto value = makeCause(BusyCauseKind::holderDevice, std::move(subject));
    value.holderKind = kind;
    return value;
}

BusyCause sandbox() {
    auto value = makeCause(BusyCauseKind::otherNamespace, "/mnt/c");
    value.processID = 42;
    value.processName = "podman";
    return value;
}

// Name, cause, title, sentence.
using SentenceCase = std::tuple<const char*, BusyCause, std::string, std::string>;

class BusyCauseSentence : public ::testing::TestWithParam<SentenceCase> {};

TEST_P(BusyCauseSentence, SaysWhatKeepsTheDiskBusyInPlainWords) {
    const auto& [name, cause, title, sentence] = GetParam();
    EXPECT_EQ(BusyCausePresentation::title(cause), title);
    EXPECT_EQ(BusyCausePresentation::sentence(cause), sentence);
    expectThemeIcon(BusyCausePresentation::symbol(cause.kind));
}

using enum BusyCauseKind;

INSTANTIATE_TEST_SUITE_P(
    Kinds, BusyCauseSentence,
    ::testing::Values(
        SentenceCase{"Nested", makeCause(nestedMount, "/media/u/D/inner"),
                     "File system inside this disk",
                     "Another file system is mounted inside this disk at “/media/u/D/inner”."},
        SentenceCase{"Bind", makeCause(bindMount, "/srv/share"), "Second mount",
                     "A folder of this disk is also mounted at “/srv/share”."},
        SentenceCase{"SwapPartition", makeCause(swap, "/dev/sdb2"), "Swap",
                     "Part of this disk is used as swap."},
        SentenceCase{"SwapFile", makeCause(swap, "/media/u/D/swapfile"), "Swap",
                     "A file on this disk is used as swap."},
        SentenceCase{"Image", makeCause(loopDevice, "/dev/loop3"), "Disk image",
                     "A disk image from this disk is attached as /dev/loop3."},
        SentenceCase{"Encrypted", holder("/dev/mapper/secret", HolderKind::encrypted),
                     "Encrypted volume",
                     "An encrypted volume on this disk is unlocked as /dev/mapper/secret."},
        SentenceCase{"Raid", holder("/dev/md0", HolderKind::raid), "RAID array",
                     "This disk is part of the RAID array /dev/md0."},
        SentenceCase{"Export", makeCause(networkExport, "/media/u/D/photos"), "Network share",
                     "A folder of this disk is shared over the network: “/media/u/D/photos”."},
        SentenceCase{"Namespace", sandbox(), "Container or sandbox",
                     "This disk is still mounted inside a container or sandbox of “podman” "
                     "(process 42)."},
        SentenceCase{"Unseen", makeCause(unseenProcesses, ""), "Processes Tovo cannot see",
                     "A process of another user or of the system may be using this disk. Tovo "
                     "is not allowed to see it."}),
    [](const auto& info) { return std::string(std::get<0>(info.param)); });

// What Tovo does is green, what the user does orange, a refusal red with its reason;
// the latest attempt speaks for the row.
TEST(BusyCauseRow, ShowsThePlanOrTheLatestAttempt) {
    auto image = makeCause(loopDevice, "/dev/loop3", BusyCauseAction::detachLoop);
    image.backingFile = "/media/u/D/a.iso";
    const auto swapFile = makeCause(swap, "/media/u/D/swapfile");
    const std::vector<BusyCauseAttempt> attempts{
        {image.key(), ReleaseDisposition::requested, "Detached."},
        {image.key(), ReleaseDisposition::failed, "The system did not allow it: Busy."}};

    const auto rows = BusyCausePresentation::rows({image, swapFile}, attempts);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(
        std::tuple(rows[0].statusSymbolColor, rows[0].message, rows[1].statusSymbolColor),
        std::tuple(SymbolColor::red, "The system did not allow it: Busy.", SymbolColor::orange));
    EXPECT_THAT(rows[0].detailLines, ElementsAre("On /dev/sdb1", "Image file: /media/u/D/a.iso"));
    EXPECT_EQ(BusyCausePresentation::row(image, std::nullopt).statusSymbolColor,
              SymbolColor::green);
    EXPECT_EQ(BusyCausePresentation::plainText(swapFile),
              "A file on this disk is used as swap.\nYou must act.\nOn /dev/sdb1");
}

TEST(BusyCauseReview, CauseActionsCanBeConfirmedAloneAndCountWithTheApps) {
    const auto disk = makeDisk(1, "345-BACKUP");
    const std::vector<BusyCause> causes{
        makeCause(nestedMount, "/m/inner", BusyCauseAction::unmountNested),
        makeCause(swap, "/dev/sdb2")};
    const auto alone =
        ReleaseReviewPresentation::content(ProcessPresentation(), disk, {}, {}, causes);
    EXPECT_EQ(std::tuple(alone.canConfirm, alone.confirmTitle),
              std::tuple(true, "Release and Eject"));
    EXPECT_EQ(alone.message, "Tovo will ask the system to release one use of the disk. One blocker "
                             "still needs you. It ejects only after the disk is no longer in use. "
                             "It never forces anything.");
    ASSERT_EQ(alone.causeEntries.size(), 2u);
    EXPECT_EQ(std::pair(alone.causeEntries[0].tovoActs, alone.causeEntries[1].tovoActs),
              std::pair(true, false));

    const auto withApp = ReleaseReviewPresentation::content(
        ProcessPresentation(), disk, {makeProcess(7)}, {quitPlan(7)}, causes);
    EXPECT_EQ(withApp.message,
              "Tovo will ask one app to quit. Tovo will ask the system to release "
              "one other use of the disk. One blocker still needs you. It ejects "
              "only after the disk is no longer in use. It never forces anything.");

    const auto userOnly =
        ReleaseReviewPresentation::content(ProcessPresentation(), disk, {}, {}, {causes[1]});
    EXPECT_EQ(std::tuple(userOnly.canConfirm, userOnly.confirmTitle), std::tuple(false, "Close"));
}

TEST(BlockedStatus, CountsAppsAndCausesAndPointsToTheReviewOnlyWhenTovoCanAct) {
    const auto app = StatusPresentation::content(EjectionPhase::blocked(), makeDisk(1),
                                                 {makeProcess(1)}, {manualPlan(1), quitPlan(1)});
    EXPECT_EQ(std::tuple(app.title, app.message),
              std::tuple("One app or service is using this disk",
                         "Review what Tovo can quit before you continue."));
    const auto image = makeCause(loopDevice, "/dev/loop3", BusyCauseAction::detachLoop);
    const auto blocked =
        StatusPresentation::content(EjectionPhase::blocked(), makeDisk(1), {}, {}, {image});
    EXPECT_EQ(std::tuple(blocked.title, blocked.message),
              std::tuple("One thing keeps this disk busy",
                         "Review what Tovo can release before you continue."));
}

using enum WriteOutScope;

constexpr std::uint64_t MB = 1'000'000;
const auto backupDisk = makeDisk(3, "345-BACKUP");
const WriteOutSample first{true, 300 * MB, disk, std::nullopt};
const WriteOutSample writing{true, 292 * MB, disk, 8 * MB};
const WriteOutSample written{false, 0, disk, 0};

class WriteOutWatchTest : public ::testing::Test {
protected:
    WriteOutWatchTest() {
        watch.setChangeHandler([this] { ++changes; });
    }
    // A watch still sampling is cancelled; its task ends once the executor runs.
    ~WriteOutWatchTest() override { follow(EjectionPhase::ready()); }

    void follow(const EjectionPhase& phase) {
        watch.follow(phase, backupDisk);
        executor.runAll();
    }
    void pass(std::chrono::nanoseconds time) {
        clock.advance(time);
        executor.runAll();
    }

    ManualExecutor executor;
    VirtualClock clock{executor};
    FakeWriteOutMonitor monitor{executor};
    WriteOutWatch watch{monitor, clock, executor};
    int changes = 0;
};

// The first sample only starts the rate; one a second follows while the eject runs.
TEST_F(WriteOutWatchTest, SamplesEverySecondOfAnEjectAndForgetsItAfterwards) {
    monitor.samples.enqueueValue(first);
    monitor.samples.enqueueValue(writing);
    monitor.samples.setValue(written);

    follow(EjectionPhase::ejecting());
    EXPECT_EQ(std::tuple(monitor.samples.callCount(), watch.progress()),
              std::tuple(1u, std::nullopt));
    pass(WriteOutWatch::interval);
    EXPECT_EQ(watch.progress(), (WriteOutProgress{writing, true}));
    follow(EjectionPhase::ejecting()); // the same eject: nothing starts again
    pass(WriteOutWatch::interval);
    // Written out, but udisks2 has not answered: it was written, and that stays known.
    EXPECT_EQ(std::tuple(watch.progress(), monitor.samples.callCount(), changes),
              std::tuple(WriteOutProgress{written, true}, 3u, 2));

    follow(EjectionPhase::ejected("345-BACKUP"));
    EXPECT_EQ(std::tuple(watch.progress(), clock.sleeperCount()), std::tuple(std::nullopt, 0u));
    pass(WriteOutWatch::interval * 10);
    EXPECT_EQ(monitor.samples.callCount(), 3u);
}

TEST_F(WriteOutWatchTest, ARetriedEjectStartsAfresh) {
    monitor.samples.setValue(writing);
    follow(EjectionPhase::ejecting());
    pass(WriteOutWatch::interval);
    ASSERT_TRUE(watch.progress());

    follow(EjectionPhase::diagnosing());
    follow(EjectionPhase::retrying());
    EXPECT_EQ(std::tuple(watch.progress(), monitor.samples.callCount()),
              std::tuple(std::nullopt, 3u))
        << "a new first sample";
    monitor.samples.setValue(written);
    pass(WriteOutWatch::interval);
    EXPECT_EQ(watch.progress(), (WriteOutProgress{written, false}));
}

// A sample taken on a worker thread may arrive after its eject ended.
TEST_F(WriteOutWatchTest, ALateSampleOfAnEndedEjectIsDropped) {
    monitor.samples.enqueueValue(first);
    follow(EjectionPhase::ejecting());
    clock.advance(WriteOutWatch::interval);
    executor.runAll(); // the second sample is under way
    monitor.samples.resolve(writing);
    follow(EjectionPhase::ready());
    EXPECT_EQ(std::tuple(watch.progress(), changes), std::tuple(std::nullopt, 0));
}

const std::string dontUnplug = "Do not unplug “345-BACKUP” yet.";

WriteOutProgress writingAt(std::optional<std::uint64_t> left, WriteOutScope scope,
                           std::optional<std::uint64_t> rate) {
    return {{true, left, scope, rate}, true};
}

WriteOutProgress paused(std::optional<std::uint64_t> left, WriteOutScope scope) {
    return {{false, left, scope, 0}, true};
}

// Name, phase, progress, the notice shown.
using NoticeCase = std::tuple<const char*, EjectionPhase, std::optional<WriteOutProgress>,
                              std::optional<WriteOutNotice>>;

class WriteOutNoticeTest : public ::testing::TestWithParam<NoticeCase> {};

TEST_P(WriteOutNoticeTest, SaysWhatIsLeftOnlyWhileTheEjectRuns) {
    const auto& [name, phase, progress, shown] = GetParam();
    EXPECT_EQ(WriteOutPresentation::notice(phase, backupDisk, progress), shown);
}

// Every notice warns not to unplug; the title says whether data is still moving.
WriteOutNotice writingNotice(std::string detail) {
    return {"Writing data to “345-BACKUP”", std::move(detail), dontUnplug};
}
WriteOutNotice finishingNotice(std::string detail) {
    return {"Finishing the eject", std::move(detail) + " The system is finishing the eject.",
            dontUnplug};
}

const auto ejecting = EjectionPhase::ejecting();
const auto retrying = EjectionPhase::retrying();

INSTANTIATE_TEST_SUITE_P(
    Rows, WriteOutNoticeTest,
    ::testing::Values(
        NoticeCase{"noSampleYet", ejecting, std::nullopt, std::nullopt},
        NoticeCase{"nothingWrittenThisEject", ejecting,
                   WriteOutProgress{{false, 0, disk, 0}, false}, std::nullopt},
        NoticeCase{"diskAmountAndRate", ejecting, writingAt(312 * MB, disk, 8'200'000),
                   writingNotice("312 MB left to write to this disk, at 8.2 MB/s.")},
        NoticeCase{"firstSampleHasNoRate", retrying, writingAt(312 * MB, disk, std::nullopt),
                   writingNotice("312 MB left to write to this disk.")},
        NoticeCase{"systemTotalIsSaidToBeOne", ejecting, writingAt(1'500 * MB, system, 8'200'000),
                   writingNotice("1.5 GB still to be written by the system, for all disks "
                                 "together. This disk is written at 8.2 MB/s.")},
        NoticeCase{"nothingKnown", ejecting, writingAt(std::nullopt, system, std::nullopt),
                   writingNotice("Data is still on its way to this disk.")},
        NoticeCase{"allWrittenButNotAnswered", ejecting, paused(0, disk),
                   finishingNotice("All data for this disk is written.")},
        NoticeCase{"pausedSystemWide", retrying, paused(40 * MB, system),
                   finishingNotice("The disk is not being written right now.")},
        NoticeCase{"endsWhenTheSystemAnswered", EjectionPhase::ejected("345-BACKUP"),
                   writingAt(1'000, disk, 1'000), std::nullopt}),
    [](const auto& info) { return std::string(std::get<0>(info.param)); });

TEST(WriteOutAnnouncementTest, SpeaksOnceWhenWritingIsFirstShown) {
    const auto shown = writingNotice("");
    EXPECT_EQ(WriteOutPresentation::announcement(std::nullopt, shown, backupDisk),
              "Still writing data to 345-BACKUP. Do not unplug it yet.");
    EXPECT_EQ(WriteOutPresentation::announcement(shown, shown, backupDisk), std::nullopt);
}

TEST(CloseQuestionTest, AsksOnlyDuringAnEject) {
    const std::string ejecting = "Tovo is still ejecting “345-BACKUP”.";
    using Row =
        std::tuple<EjectionPhase, std::optional<WriteOutProgress>, std::optional<std::string>>;
    for (const auto& [phase, progress, text] :
         {Row{EjectionPhase::ejecting(), writingAt(1'000, disk, 1'000),
              "“345-BACKUP” is still being written."},
          Row{EjectionPhase::retrying(), paused(0, disk), ejecting},
          Row{EjectionPhase::ejecting(), std::nullopt, ejecting},
          Row{EjectionPhase::blocked(), std::nullopt, std::nullopt}}) {
        const auto question = WriteOutPresentation::closeQuestion(phase, backupDisk, progress);
        EXPECT_EQ(question ? std::optional(question->text) : std::nullopt, text)
            << phase.caseName();
    }
}

} // namespace
} // namespace tovo
