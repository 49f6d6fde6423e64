#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace tovo::testing;
using namespace std::chrono_literals;

// A mock udisks2 on a private bus: one USB drive, two mounted partitions, and a
// sysfs of our own that shows the same disk sdx with diskseq 77.
class UDisks2MockTest : public ::testing::Test {
protected:
    void SetUp() override {
        // "<file under class/block> <its line>"; sdy has the same diskseq, but a number
        // udisks2 does not know.
        for (const std::string entry :
             {"sdx/dev 4000:0", "sdx/diskseq 77", "sdx/sdx1/partition 1", "sdx/sdx2/partition 2",
              "sdx1/dev 4000:1", "sdx2/dev 4000:2", "sdy/dev 4000:9", "sdy/diskseq 77"}) {
            const auto space = entry.find(' ');
            writeText(blocks() / entry.substr(0, space), entry.substr(space + 1) + "\n");
        }
    }

    void startMock(const std::string& scenario) {
        if (scenario == "layered" || scenario == "lock-fails" || scenario == "stays-unlocked") {
            // sdx2 holds dm0, which holds dm1, which holds the logical volume dm2.
            for (const auto& [name, minor, holder] :
                 {std::tuple{"sdx2", 3, "dm0"}, {"dm0", 4, "dm1"}, {"dm1", 5, "dm2"}}) {
                std::filesystem::create_directories(blocks() / name / "holders" / holder);
                writeText(blocks() / holder / "dev", "4000:" + std::to_string(minor) + "\n");
            }
        }
        mock.emplace(std::vector<std::string>{"/usr/bin/python3",
                                              besideTests("UDisks2MockService.py"), bus.address(),
                                              folder.path() / "calls", scenario,
                                              blocks() / "sdx/diskseq"},
                     ChildOptions{.output = folder.path() / "mock.log"});
        ASSERT_TRUE(bus.awaitName("org.freedesktop.UDisks2"))
            << readText(folder.path() / "mock.log").value_or("");
    }

    StartedTask<void> start(ManualExecutor& executor, std::string wholeDisk = "sdx",
                            std::string address = "", std::chrono::milliseconds timeout = 5s,
                            std::filesystem::path proc = "/proc") {
        unmounter.emplace(executor, address.empty() ? bus.address() : address, timeout, sys(),
                          nullptr, std::move(proc));
        return {executor, unmounter->unmountAndEject({wholeDisk, 77, {"/media/mock/ONE"}})};
    }
    std::exception_ptr unmount(std::string wholeDisk = "sdx", std::string address = "",
                               std::chrono::milliseconds timeout = 5s,
                               std::filesystem::path proc = "/proc") {
        ManualExecutor executor;
        const auto run = start(executor, wholeDisk, address, timeout, std::move(proc));
        EXPECT_TRUE(run.finish(executor));
        return run.error();
    }

    std::filesystem::path sys() const { return folder.path() / "sys"; }
    std::filesystem::path blocks() const { return sys() / "class/block"; }
    std::string calls() const { return readText(folder.path() / "calls").value_or(""); }

    TemporaryFolder folder;
    PrivateBus bus{folder.path()};
    std::optional<TestChild> mock;
    std::optional<UDisks2Unmounter> unmounter;
};

struct MockCase {
    const char* label;
    const char* scenario;
    std::string calls;
    std::optional<EjectionFailureKind> kind = std::nullopt; ///< none: ejected
    std::string message = ""; ///< empty: the refusal's words are pinned by the unit tests
    std::string wholeDisk = "sdx";
    std::chrono::milliseconds callTimeout = 5s;
};

class UDisks2MockDrive : public UDisks2MockTest, public ::testing::WithParamInterface<MockCase> {};

// Nothing is powered off unless the disk is still the proved one and fully unmounted.
// Where policy wants a password, polkit may ask for it: no call forbids interaction.
TEST_P(UDisks2MockDrive, CallsUdisks2InOrderAndReportsTheOutcome) {
    const auto& row = GetParam();
    startMock(row.scenario);
    const auto failure = failureOf(unmount(row.wholeDisk, "", row.callTimeout));
    EXPECT_EQ(failure ? std::optional(failure->kind) : std::nullopt, row.kind);
    EXPECT_EQ(failure && !row.message.empty() ? failure->message : "", row.message);
    EXPECT_EQ(calls(), row.calls);
}

const std::string unmountBoth = "Unmount sdx2 False\nUnmount sdx1 False\n";
const std::string unmountLayered = "Unmount dm2 False\nUnmount sdx1 False\n";
// Inner layers first: the logical volume, the inner container, the outer one.
const std::string closeLayers = "Deactivate lv\nLock dm0\nLock sdx2\n";
const std::string changed = SystemDiskIdentityValidator::changedMessage;
constexpr auto other = EjectionFailureKind::other;

INSTANTIATE_TEST_SUITE_P(
    Scenarios, UDisks2MockDrive,
    ::testing::Values(
        MockCase{"powered_off", "poweroff", unmountBoth + "PowerOff\n"},
        MockCase{"ejected", "eject", unmountBoth + "Eject\n"},
        MockCase{"neither_powered_off_nor_ejected", "neither", unmountBoth},
        MockCase{"nested_containers_closed_first", "layered",
                 unmountLayered + closeLayers + "PowerOff\n"},
        // Unmounting writes out what is cached: it may take far longer than a question may.
        MockCase{.label = "slow_work_outlasts_the_question_time_limit",
                 .scenario = "slow",
                 .calls = unmountBoth + "PowerOff\n",
                 .callTimeout = 500ms},
        MockCase{"refused_in_udisks_words", "poweroff-fails", unmountBoth + "PowerOff\n", other,
                 "Error powering off drive: the drive is in use"},
        MockCase{"replaced_before_power_off", "replaced", unmountBoth,
                 EjectionFailureKind::identityChanged, changed},
        // Proved again before each call: the second unmount never starts.
        MockCase{"renumbered_between_unmounts", "renumbered", "Unmount sdx2 False\n",
                 EjectionFailureKind::identityChanged, changed},
        MockCase{"proved_mount_now_elsewhere", "moved", "", EjectionFailureKind::identityChanged,
                 changed},
        MockCase{"no_such_disk", "poweroff", "", EjectionFailureKind::identityChanged, changed,
                 "sdq"},
        MockCase{"disk_unknown_to_udisks2", "poweroff", "", other,
                 "Could not eject: udisks2 does not know the disk /dev/sdy.", "sdy"},
        MockCase{"mount_left_after_the_last_round", "stuck", unmountBoth + "Unmount sdx1 False\n",
                 EjectionFailureKind::busy,
                 "A file system of this disk is still mounted at “/media/mock/ONE”, so data "
                 "may still be waiting to be written: close what uses it, then try again."},
        MockCase{"refused_by_policy", "not-authorized", "Unmount sdx2 False\n", other},
        MockCase{"udisks2_gone_while_powering_off", "dies", unmountBoth + "PowerOff\n", other},
        MockCase{"container_that_cannot_be_locked", "lock-fails", unmountLayered + closeLayers,
                 other,
                 "Could not eject: the encrypted volume /dev/sdx2 of this disk could not be "
                 "locked, so the disk was not powered off. udisks2 said: Error locking "
                 "/dev/sdx2: Device or resource busy"},
        MockCase{"container_left_unlocked", "stays-unlocked", unmountLayered + closeLayers, other,
                 "Could not eject: the encrypted volume /dev/sdx2 of this disk is still "
                 "unlocked, so the disk was not powered off."}),
    [](const auto& info) { return std::string(info.param.label); });

// A sandbox still has the logical volume mounted: refused before any layer is closed, since
// closing would pull the device from under the sandbox's copy.
TEST_F(UDisks2MockTest, AMountInAnotherNamespaceIsRefusedBeforeAnyLayerIsClosed) {
    startMock("layered");
    const auto proc = folder.path() / "proc";
    for (const auto& [process, space] : {std::pair{"self", "mnt:[1]"}, {"4242", "mnt:[2]"}}) {
        std::filesystem::create_directories(proc / process / "ns");
        std::filesystem::create_symlink(space, proc / process / "ns/mnt");
    }
    writeText(proc / "self/mountinfo", "");
    writeText(proc / "4242/mountinfo", "36 35 4000:5 / /media/mock/LV rw - ext4 /dev/dm2 rw\n");
    writeText(proc / "4242/comm", "sleep\n");
    const auto failure = failureOf(unmount("sdx", "", 5s, proc));
    EXPECT_EQ(failure ? std::optional(failure->kind) : std::nullopt, EjectionFailureKind::busy);
    EXPECT_EQ(calls(), unmountLayered);
}

// The call under way finishes in udisks2; nothing after it starts, and nothing says done.
TEST_F(UDisks2MockTest, CancellationStartsNoFurtherCall) {
    startMock("slow");
    ManualExecutor executor;
    const auto run = start(executor);
    executor.runAll();
    ASSERT_TRUE(eventually([&] { return !calls().empty(); }));
    run.cancel();
    ASSERT_TRUE(run.finish(executor));
    EXPECT_TRUE(isCancellation(run.error()));
    EXPECT_EQ(calls(), "Unmount sdx2 False\n");
}

TEST_F(UDisks2MockTest, AbsentUdisks2OrBusIsAClearFailureNotAHang) {
    const auto started = std::chrono::steady_clock::now();
    for (const auto& address :
         {bus.address(), "unix:path=" + (folder.path() / "no-bus").string()}) {
        const auto message = readableMessage(unmount("sdx", address));
        EXPECT_TRUE(message.starts_with("Could not eject")) << message;
        EXPECT_NE(message.find("udisks2"), std::string::npos) << message;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - started, 3s);
}

} // namespace
} // namespace tovo
