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

class UDisks2RefusalTest : public ::testing::TestWithParam<RefusalCase> {};

// Polkit's and the bus's names become sentences; a missing answer means "stuck" only
// where Tovo set a time limit, and "gone" where it waits for real work.
TEST_P(UDisks2RefusalTest, SaysWhatHappenedInWords) {
    const auto& param = GetParam();
    const auto error = UDisks2Refusal::fromBus(param.name, "raw words", param.wait);
    EXPECT_EQ(std::tie(error.name, error.message), std::tie(param.name, param.message));
    EXPECT_EQ(UDisks2Refusal::speaksForItself(param.name), param.message != "raw words");
}

INSTANTIATE_TEST_SUITE_P(
    Names, UDisks2RefusalTest,
    ::testing::Values(
        RefusalCase{"udisksNotAuthorized", fd + "UDisks2.Error.NotAuthorized", work, notAllowed},
        RefusalCase{"canObtain", fd + "UDisks2.Error.NotAuthorizedCanObtain", work, passwordNeeded},
        RefusalCase{"udisksDismissed", fd + "UDisks2.Error.NotAuthorizedDismissed", work,
                    dismissed},
        RefusalCase{"noReplyToAQuestion", fd + "DBus.Error.NoReply", question,
                    "Could not eject: udisks2, the system's disk service, did not answer in time."},
        RefusalCase{"noReplyToWork", fd + "DBus.Error.NoReply", work, gone},
        RefusalCase{"busLostDuringWork", "System.Error.ECONNRESET", work, gone},
        RefusalCase{"udisksOwnWords", fd + "UDisks2.Error.Failed", work, "raw words"}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo
