#include "TovoSystem/Services/UDisks2Refusal.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

constexpr auto question = UDisks2Refusal::Wait::limited, work = UDisks2Refusal::Wait::unlimited;

struct RefusalCase {
    const char* label;
    std::string name;
    UDisks2Refusal::Wait wait;
    std::string message;
};

const std::string fd = "org.freedesktop.";
const std::string notAllowed = "Tovo was not allowed to eject this disk. The system's policy does "
                               "not let this account unmount or power off the disk.";
const std::string passwordNeeded = "Tovo was not allowed to eject this disk. The system asks for "
                                   "a password first, and no password dialog could be shown.";
const std::string dismissed = "The password dialog was closed, so the disk was not ejected.";
const std::string gone = "Could not eject: udisks2, the system's disk service, stopped before it "
                         "finished, so the disk may still be in use. Do not unplug it; try again.";

// Polkit's and the bus's names become sentences; a missing answer means "stuck" only
// where Tovo set a time limit, and "gone" where it waits for real work.

TEST(UDisks2RefusalTest, SaysWhatHappenedInWords) {
    const std::vector<RefusalCase> rows{
        {"udisksNotAuthorized", fd + "UDisks2.Error.NotAuthorized", work, notAllowed},
        {"canObtain", fd + "UDisks2.Error.NotAuthorizedCanObtain", work, passwordNeeded},
        {"udisksDismissed", fd + "UDisks2.Error.NotAuthorizedDismissed", work, dismissed},
        {"noReplyToAQuestion", fd + "DBus.Error.NoReply", question,
         "Could not eject: udisks2, the system's disk service, did not answer in time."},
        {"noReplyToWork", fd + "DBus.Error.NoReply", work, gone},
        {"busLostDuringWork", "System.Error.ECONNRESET", work, gone},
        {"udisksOwnWords", fd + "UDisks2.Error.Failed", work, "raw words"}};
    for (const auto& c : rows) {
        SCOPED_TRACE(c.label);
        const auto error = UDisks2Refusal::fromBus(c.name, "raw words", c.wait);
        EXPECT_EQ(std::tie(error.name, error.message), std::tie(c.name, c.message));
        EXPECT_EQ(UDisks2Refusal::speaksForItself(c.name), c.message != "raw words");
    }
}

} // namespace
} // namespace tovo
