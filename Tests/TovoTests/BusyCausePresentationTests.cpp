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

BusyCause cause(BusyCauseKind kind, std::string subject,
                BusyCauseAction action = BusyCauseAction::none) {
    return makeCause(kind, std::move(subject), action);
}

BusyCause holder(std::string subject, HolderKind kind) {
    auto value = cause(BusyCauseKind::holderDevice, std::move(subject));
    value.holderKind = kind;
    return value;
}

BusyCause sandbox() {
    auto value = cause(BusyCauseKind::otherNamespace, "/mnt/c");
    value.processID = 42;
    value.processName = "podman";
    return value;
}

struct SentenceCase {
    const char* label;
    BusyCause cause;
    std::string title;
    std::string sentence;
};

class BusyCauseSentence : public ::testing::TestWithParam<SentenceCase> {};

TEST_P(BusyCauseSentence, SaysWhatKeepsTheDiskBusyInPlainWords) {
    const auto& row = GetParam();
    EXPECT_EQ(BusyCausePresentation::title(row.cause), row.title);
    EXPECT_EQ(BusyCausePresentation::sentence(row.cause), row.sentence);
    expectThemeIcon(BusyCausePresentation::symbol(row.cause.kind));
}

using enum BusyCauseKind;

INSTANTIATE_TEST_SUITE_P(
    Kinds, BusyCauseSentence,
    ::testing::Values(
        SentenceCase{"Nested", cause(nestedMount, "/media/u/D/inner"),
                     "File system inside this disk",
                     "Another file system is mounted inside this disk at “/media/u/D/inner”."},
        SentenceCase{"Bind", cause(bindMount, "/srv/share"), "Second mount",
                     "A folder of this disk is also mounted at “/srv/share”."},
        SentenceCase{"SwapPartition", cause(swap, "/dev/sdb2"), "Swap",
                     "Part of this disk is used as swap."},
        SentenceCase{"SwapFile", cause(swap, "/media/u/D/swapfile"), "Swap",
                     "A file on this disk is used as swap."},
        SentenceCase{"Image", cause(loopDevice, "/dev/loop3"), "Disk image",
                     "A disk image from this disk is attached as /dev/loop3."},
        SentenceCase{"Encrypted", holder("/dev/mapper/secret", HolderKind::encrypted),
                     "Encrypted volume",
                     "An encrypted volume on this disk is unlocked as /dev/mapper/secret."},
        SentenceCase{"Raid", holder("/dev/md0", HolderKind::raid), "RAID array",
                     "This disk is part of the RAID array /dev/md0."},
        SentenceCase{"Export", cause(networkExport, "/media/u/D/photos"), "Network share",
                     "A folder of this disk is shared over the network: “/media/u/D/photos”."},
        SentenceCase{"Namespace", sandbox(), "Container or sandbox",
                     "This disk is still mounted inside a container or sandbox of “podman” "
                     "(process 42)."},
        SentenceCase{"Unseen", cause(unseenProcesses, ""), "Processes Tovo cannot see",
                     "A process of another user or of the system may be using this disk. Tovo "
                     "is not allowed to see it."}),
    [](const auto& info) { return std::string(info.param.label); });

// What Tovo does is green, what the user does orange, a refusal red with its reason;
// the latest attempt speaks for the row.
TEST(BusyCauseRow, ShowsThePlanOrTheLatestAttempt) {
    auto image = cause(loopDevice, "/dev/loop3", BusyCauseAction::detachLoop);
    image.backingFile = "/media/u/D/a.iso";
    const auto swapFile = cause(swap, "/media/u/D/swapfile");
    const std::vector<BusyCauseAttempt> attempts{
        {image.key(), ReleaseDisposition::requested, "Detached."},
        {image.key(), ReleaseDisposition::failed, "The system did not allow it: Busy."}};

    const auto rows = BusyCausePresentation::rows({image, swapFile}, attempts);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].statusSymbolColor, SymbolColor::red);
    EXPECT_EQ(rows[0].message, "The system did not allow it: Busy.");
    EXPECT_THAT(rows[0].detailLines, ElementsAre("On /dev/sdb1", "Image file: /media/u/D/a.iso"));
    EXPECT_EQ(rows[1].statusSymbolColor, SymbolColor::orange);
    EXPECT_EQ(rows[1].message, "You must act.");
    EXPECT_EQ(BusyCausePresentation::row(image, std::nullopt).statusSymbolColor,
              SymbolColor::green);
    EXPECT_EQ(BusyCausePresentation::plainText(swapFile),
              "A file on this disk is used as swap.\nYou must act.\nOn /dev/sdb1");
}

TEST(BusyCauseReview, CauseActionsCanBeConfirmedAloneAndCountWithTheApps) {
    const auto disk = makeDisk(1, "345-BACKUP");
    const std::vector<BusyCause> causes{
        cause(nestedMount, "/m/inner", BusyCauseAction::unmountNested), cause(swap, "/dev/sdb2")};
    const auto alone =
        ReleaseReviewPresentation::content(ProcessPresentation(), disk, {}, {}, causes);
    EXPECT_TRUE(alone.canConfirm);
    EXPECT_EQ(alone.confirmTitle, "Release and Eject");
    EXPECT_EQ(alone.message, "Tovo will ask the system to release one use of the disk. One blocker "
                             "still needs you. It ejects only after the disk is no longer in use. "
                             "It never forces anything.");
    ASSERT_EQ(alone.causeEntries.size(), 2u);
    EXPECT_TRUE(alone.causeEntries[0].tovoActs);
    EXPECT_FALSE(alone.causeEntries[1].tovoActs);

    const auto withApp = ReleaseReviewPresentation::content(
        ProcessPresentation(), disk, {makeProcess(7)}, {quitPlan(7)}, causes);
    EXPECT_EQ(withApp.message,
              "Tovo will ask one app to quit. Tovo will ask the system to release "
              "one other use of the disk. One blocker still needs you. It ejects "
              "only after the disk is no longer in use. It never forces anything.");

    const auto userOnly =
        ReleaseReviewPresentation::content(ProcessPresentation(), disk, {}, {}, {causes[1]});
    EXPECT_FALSE(userOnly.canConfirm);
    EXPECT_EQ(userOnly.confirmTitle, "Close");
}

TEST(BusyCauseStatus, CountsCausesWithTheBlockersAndPointsToTheReview) {
    const auto image = cause(loopDevice, "/dev/loop3", BusyCauseAction::detachLoop);
    const auto blocked =
        StatusPresentation::content(EjectionPhase::blocked(), makeDisk(1), {}, {}, {image});
    EXPECT_EQ(blocked.title, "One thing keeps this disk busy");
    EXPECT_EQ(blocked.message, "Review what Tovo can release before you continue.");
    EXPECT_EQ(StatusPresentation::blockedTitle(2, 1), "3 things keep this disk busy");
    EXPECT_EQ(StatusPresentation::blockedMessage({}, {cause(swap, "/dev/sdb2")}),
              "Follow the steps below, then check again.");
}

} // namespace
} // namespace tovo
