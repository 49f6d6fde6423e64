#include "PresentationTestValues.hpp"
#include "Support/ScriptedBusyCauseFinder.hpp"
#include "Tovo/Support/BusyCausePresentation.hpp"
#include "Tovo/Support/ReleaseReviewPresentation.hpp"
#include "Tovo/Support/StatusPresentation.hpp"

#include <gmock/gmock.h>

namespace tovo {
namespace {

using namespace testing;
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

TEST(BusyCauseStatus, CountsCausesWithTheBlockersAndPointsToTheReview) {
    const auto image = makeCause(loopDevice, "/dev/loop3", BusyCauseAction::detachLoop);
    const auto blocked =
        StatusPresentation::content(EjectionPhase::blocked(), makeDisk(1), {}, {}, {image});
    EXPECT_EQ(std::tuple(blocked.title, blocked.message),
              std::tuple("One thing keeps this disk busy",
                         "Review what Tovo can release before you continue."));
    EXPECT_EQ(StatusPresentation::blockedTitle(2, 1), "3 things keep this disk busy");
    EXPECT_EQ(StatusPresentation::blockedMessage({}, {makeCause(swap, "/dev/sdb2")}),
              "Follow the steps below, then check again.");
}

} // namespace
} // namespace tovo
