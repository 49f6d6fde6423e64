#include "TovoSystem/Services/UDisks2Refusal.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using Wait = UDisks2Refusal::Wait;

struct RefusalCase {
    const char* label;
    const char* name;
    Wait wait;
    const char* message;
};

const char* const notAllowed = "Tovo was not allowed to eject this disk. The system's policy does "
                               "not let this account unmount or power off the disk.";
const char* const passwordNeeded = "Tovo was not allowed to eject this disk. The system asks for a "
                                   "password first, and no password dialog could be shown.";
const char* const dismissed = "The password dialog was closed, so the disk was not ejected.";
const char* const late = "Could not eject: udisks2, the system's disk service, did not answer in "
                         "time.";
const char* const gone = "Could not eject: udisks2, the system's disk service, stopped before it "
                         "finished, so the disk may still be in use. Do not unplug it; try again.";

class UDisks2RefusalTest : public ::testing::TestWithParam<RefusalCase> {};

// Polkit's and the bus's names become sentences; a missing answer means "stuck" only
// where Tovo set a time limit, and "gone" where it waits for real work.
TEST_P(UDisks2RefusalTest, SaysWhatHappenedInWords) {
    const auto& param = GetParam();
    const auto error = UDisks2Refusal::fromBus(param.name, "raw words", param.wait);
    EXPECT_EQ(error.name, param.name);
    EXPECT_EQ(error.message, param.message);
    EXPECT_EQ(UDisks2Refusal::speaksForItself(param.name),
              std::string(param.message) != "raw words");
}

INSTANTIATE_TEST_SUITE_P(
    Names, UDisks2RefusalTest,
    ::testing::Values(
        RefusalCase{"udisksNotAuthorized", "org.freedesktop.UDisks2.Error.NotAuthorized",
                    Wait::unlimited, notAllowed},
        RefusalCase{"polkitNotAuthorized", "org.freedesktop.PolicyKit1.Error.NotAuthorized",
                    Wait::unlimited, notAllowed},
        RefusalCase{"canObtain", "org.freedesktop.UDisks2.Error.NotAuthorizedCanObtain",
                    Wait::unlimited, passwordNeeded},
        RefusalCase{"interactionRequired",
                    "org.freedesktop.DBus.Error.InteractiveAuthorizationRequired", Wait::unlimited,
                    passwordNeeded},
        RefusalCase{"udisksDismissed", "org.freedesktop.UDisks2.Error.NotAuthorizedDismissed",
                    Wait::unlimited, dismissed},
        RefusalCase{"polkitCancelled", "org.freedesktop.PolicyKit1.Error.Cancelled",
                    Wait::unlimited, dismissed},
        RefusalCase{"noReplyToAQuestion", "org.freedesktop.DBus.Error.NoReply", Wait::limited,
                    late},
        RefusalCase{"noReplyToWork", "org.freedesktop.DBus.Error.NoReply", Wait::unlimited, gone},
        RefusalCase{"busLostDuringWork", "System.Error.ECONNRESET", Wait::unlimited, gone},
        RefusalCase{"udisksOwnWords", "org.freedesktop.UDisks2.Error.Failed", Wait::unlimited,
                    "raw words"}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo
