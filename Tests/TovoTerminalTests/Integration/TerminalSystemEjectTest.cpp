// `tovo why` and `tovo eject` over the real services: real lsof and /proc, real
// signals, the real udisksd on a private bus, a loop disk held by a real process.
#include "Support/ModelBuilders.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "TovoSystemTests/Integration/UDisks2TestSupport.hpp"
#include "TovoTerminalTests/TerminalRunning.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using namespace tovo::testing;
using ::testing::HasSubstr;

// The system's services, with udisksd on the private bus and the loop disk listed
// while a volume of it is mounted, as the real provider lists a USB disk.
ServiceGraph loopServices(Executor& executor, const ExternalDisk& disk, const std::string& bus) {
    auto graph = makeSystemServiceGraph(executor);
    auto provider = loopListing(executor, disk);
    auto validator = std::make_shared<SystemDiskIdentityValidator>(*provider);
    auto unmounter = std::make_shared<UDisks2Unmounter>(executor, bus, 20s);
    graph.volumeProvider = provider;
    graph.ejector = std::make_shared<FileManagerDiskEjector>(*unmounter, *validator);
    graph.owned = std::make_shared<
        std::tuple<std::shared_ptr<void>, decltype(validator), decltype(unmounter)>>(
        graph.owned, validator, unmounter);
    graph.settleDelayNanoseconds = 100'000'000;
    graph.causeFinder = nullptr; // it would ask the machine's own udisksd
    return graph;
}

using TerminalSystemEjectTest = RealUdisksTest;

TEST_F(TerminalSystemEjectTest, ExplainsTheHolderAndStopsItOnlyWhenNamed) {
    LoopDisk disk(folder_.path(), "terminal");
    ASSERT_TRUE(disk.isAttached());
    disk.format(disk.device(), "TERM");
    const auto mountPoint = udisks_->mount(disk, disk.device(), folder_.path() / "TERM");
    auto listed = makeDisk(disk.diskSequence(), "TERM");
    listed.wholeDiskIdentifier = disk.kernelName();
    listed.volumes[0].mountURL = mountPoint;
    const auto run = [&](std::vector<std::string> arguments, const std::string& answers = "") {
        const auto services = [&](Executor& executor) {
            return loopServices(executor, listed, udisks_->bus.address());
        };
        return runTerminal(std::move(arguments), answers, services, sysfsDeviceNames);
    };

    std::filesystem::create_directories(mountPoint / "Projects");
    const auto pidFile = folder_.path() / "holder.pid";
    TestChild holder({helperProgram("holder_cwd").string(), (mountPoint / "Projects").string(),
                      pidFile.string()},
                     ChildOptions{.folder = folder_.path()});
    const auto pid = awaitPidFile(pidFile);
    ASSERT_GT(pid, 1);
    const auto pidText = std::to_string(pid);

    // Real lsof finds the holder through the device path of the disk.
    const auto why = run({"why", disk.device()});
    EXPECT_EQ(why.exit, ExitCode::stillBusy) << why.output << why.errors;
    EXPECT_THAT(why.output, HasSubstr("holder_cwd  pid " + pidText));

    // A script's --yes asks apps to quit, never stops a process: the disk stays.
    const auto refused = run({"eject", mountPoint.string(), "--yes"});
    EXPECT_EQ(refused.exit, ExitCode::stillBusy) << refused.output << refused.errors;
    EXPECT_TRUE(isAliveAndNotZombie(pid) && isMounted(mountPoint));

    // Named and confirmed: one stop request, the wait, the eject for real.
    const auto ejected = run({"eject", mountPoint.string(), "--stop", pidText}, "y\n");
    EXPECT_EQ(ejected.exit, ExitCode::ejected) << ejected.output << ejected.errors;
    EXPECT_TRUE(eventually([&] { return holder.hasExited(); }));
    EXPECT_FALSE(isMounted(mountPoint));
}

} // namespace
} // namespace tovo
