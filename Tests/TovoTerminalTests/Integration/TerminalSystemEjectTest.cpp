// `tovo why` and `tovo eject` over the real services: real lsof and /proc, real
// signals, the real udisksd on a private bus, a loop disk held by a real process.
#include "Support/FakeApplicationRegistry.hpp"
#include "Support/ModelBuilders.hpp"
#include "TovoCore/Services/LsofFieldParser.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
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

// The real volume provider never lists loop devices: this one lists the loop disk
// while a volume of it is mounted, as the real one lists a USB disk.
class LoopDiskProvider final : public VolumeProviding {
public:
    explicit LoopDiskProvider(ExternalDisk disk)
        : disk_(std::move(disk)) {}
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        auto listed = disk_;
        std::erase_if(listed.volumes,
                      [](const DiskVolume& volume) { return !isMounted(volume.mountURL); });
        co_return listed.volumes.empty() ? std::vector<ExternalDisk>{} : std::vector{listed};
    }

private:
    ExternalDisk disk_;
};

// The system's services on the private bus, resuming on the program's executor.
ServiceGraph loopServices(Executor& executor, const ExternalDisk& disk, const std::string& bus) {
    auto registry = std::make_shared<FakeApplicationRegistry>();
    auto metadata = std::make_shared<SystemProcessMetadataProvider>(registry);
    auto provider = std::make_shared<LoopDiskProvider>(disk);
    auto validator = std::make_shared<SystemDiskIdentityValidator>(*provider);
    auto unmounter = std::make_shared<UDisks2Unmounter>(executor, bus, 20s);
    auto runner = std::make_shared<SystemCommandRunner>(executor, 8.0);
    return {provider,
            std::make_shared<FileManagerDiskEjector>(*unmounter, *validator),
            std::make_shared<LsofBlockerDiagnoser>(executor, runner, LsofFieldParser{}, metadata),
            std::make_shared<GracefulProcessReleaser>(executor, ::getuid(), ::getpid(), metadata,
                                                      registry),
            std::make_shared<ExplicitProcessStopper>(executor, ::getuid(), ::getpid(), metadata,
                                                     registry),
            100'000'000,
            2'000'000'000,
            registry,
            std::make_shared<std::pair<decltype(validator), decltype(unmounter)>>(validator,
                                                                                  unmounter)};
}

class TerminalSystemEjectTest : public RealUdisksTest {
protected:
    void SetUp() override {
        RealUdisksTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        disk_.emplace(folder_.path(), "terminal");
        ASSERT_TRUE(disk_->isAttached());
        disk_->format(disk_->device(), "TERM");
        mountPoint_ = udisks_->mount(*disk_, disk_->device(), folder_.path() / "TERM");
        auto listed = makeDisk(disk_->diskSequence(), "TERM");
        listed.wholeDiskIdentifier = disk_->kernelName();
        listed.volumes[0].mountURL = mountPoint_;
        services_ = [listed, bus = udisks_->bus.address()](Executor& executor) {
            return loopServices(executor, listed, bus);
        };
    }

    TerminalRun run(std::vector<std::string> arguments, const std::string& answers = "") {
        return runTerminal(std::move(arguments), answers, services_, sysfsDeviceNames);
    }

    std::optional<LoopDisk> disk_;
    std::filesystem::path mountPoint_;
    std::function<ServiceGraph(Executor&)> services_;
};

TEST_F(TerminalSystemEjectTest, ExplainsTheHolderAndStopsItOnlyWhenNamed) {
    std::filesystem::create_directories(mountPoint_ / "Projects");
    const auto pidFile = folder_.path() / "holder.pid";
    TestChild holder({helperProgram("holder_cwd").string(), (mountPoint_ / "Projects").string(),
                      pidFile.string()},
                     ChildOptions{.folder = folder_.path()});
    const auto pid = awaitPidFile(pidFile);
    ASSERT_GT(pid, 1);
    const auto pidText = std::to_string(pid);

    // Real lsof finds the holder through the device path of the disk.
    const auto why = run({"why", disk_->device()});
    EXPECT_EQ(why.exit, ExitCode::stillBusy) << why.output << why.errors;
    EXPECT_THAT(why.output, HasSubstr("holder_cwd  pid " + pidText));

    // A script's --yes asks apps to quit, never stops a process: the disk stays.
    const auto refused = run({"eject", mountPoint_.string(), "--yes"});
    EXPECT_EQ(refused.exit, ExitCode::stillBusy) << refused.output << refused.errors;
    EXPECT_TRUE(isAliveAndNotZombie(pid) && isMounted(mountPoint_));

    // Named and confirmed: one stop request, the wait, the eject for real.
    const auto ejected = run({"eject", mountPoint_.string(), "--stop", pidText}, "y\n");
    EXPECT_EQ(ejected.exit, ExitCode::ejected) << ejected.output << ejected.errors;
    EXPECT_TRUE(eventually([&] { return holder.hasExited(); }));
    EXPECT_FALSE(isMounted(mountPoint_));
}

} // namespace
} // namespace tovo
