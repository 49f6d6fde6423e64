// The whole ejection on a real mount: the real workflow, real lsof, real /proc,
// real signals and the real udisksd on a private bus, with real holder processes.
#include "Support/FakeApplicationRegistry.hpp"
#include "Support/ModelBuilders.hpp"
#include "Support/RecordingLogger.hpp"
#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoCore/Services/LsofFieldParser.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using namespace tovo::testing;

constexpr std::uint64_t settle = 100'000'000;  // 0.1 s
constexpr std::uint64_t timeout = 500'000'000; // 0.5 s

// Lists the loop disk with the volumes still mounted, while any is, as the volume
// provider would list a USB disk; loop images are never offered by the real provider.
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

// Every signal Tovo sends, recorded once its target is pinned and proved.
struct SignalRecord {
    std::mutex mutex;
    std::vector<std::pair<std::int32_t, std::int32_t>> sent;

    ExplicitProcessStopper::Signaler signaler() {
        return [this](std::int32_t pid, std::int32_t signal, const std::function<bool()>& confirm) {
            return ExplicitProcessStopper::systemSignaler()(pid, signal, [&] {
                if (!confirm()) {
                    return false;
                }
                std::lock_guard lock(mutex);
                sent.emplace_back(pid, signal);
                return true;
            });
        };
    }
};

class EndToEndEjectionTest : public RealUdisksTest {
protected:
    // Two partitions: the holders' BUSY and an IDLE one, which udisks2 unmounts
    // before the busy one refuses.
    void SetUp() override {
        RealUdisksTest::SetUp();
        if (!isReady()) {
            return;
        }
        disk_.emplace(folder_.path(), "e2e");
        ASSERT_TRUE(disk_->isAttached());
        disk_->partitionInTwo();
        const auto busy = disk_->device() + "p1";
        const auto idle = disk_->device() + "p2";
        ASSERT_TRUE(std::filesystem::exists(busy) && std::filesystem::exists(idle));
        disk_->format(busy, "BUSY");
        disk_->format(idle, "IDLE");
        udisks_->udev.keepRunningAndSettle();
        mountPoint_ = udisks_->mount(*disk_, busy, folder_.path() / "busy mount");
        idleMount_ = udisks_->mount(*disk_, idle, folder_.path() / "idle");
        std::filesystem::create_directories(mountPoint_ / "Projects");
        // Listed by its real attachment, which the unmounter proves again.
        auto listed = makeDisk(disk_->diskSequence(), "E2E");
        listed.wholeDiskIdentifier = disk_->kernelName();
        listed.volumes = {makeVolume("BUSY", mountPoint_), makeVolume("IDLE", idleMount_)};
        auto registry = std::make_shared<FakeApplicationRegistry>();
        auto metadata = std::make_shared<SystemProcessMetadataProvider>(registry);
        provider_ = std::make_shared<LoopDiskProvider>(std::move(listed));
        validator_ = std::make_unique<SystemDiskIdentityValidator>(*provider_);
        unmounter_ = std::make_unique<UDisks2Unmounter>(executor_, udisks_->bus.address(), 20s);
        workflow_ = std::make_unique<TovoWorkflow>(
            provider_, std::make_shared<FileManagerDiskEjector>(*unmounter_, *validator_),
            std::make_shared<LsofBlockerDiagnoser>(
                executor_, std::make_shared<SystemCommandRunner>(executor_, 8.0), LsofFieldParser{},
                metadata),
            std::make_shared<GracefulProcessReleaser>(executor_, ::getuid(), ::getpid(), metadata,
                                                      registry),
            std::make_shared<ExplicitProcessStopper>(executor_, ::getuid(), ::getpid(), metadata,
                                                     registry, signals_.signaler()),
            settle, timeout, clock_, logger_, executor_);
    }

    // Runs an operation to its end, moving virtual time whenever the workflow sleeps.
    void drive(Task<void> operation) {
        auto handle = spawn(executor_, std::move(operation));
        while (!handle.isDone()) {
            ASSERT_TRUE(executor_.runUntil(
                [&] { return handle.isDone() || clock_.sleeperCount() > 0; }, 60s))
                << "the operation did not finish; phase " << workflow_->phase().caseName();
            if (clock_.sleeperCount() > 0) {
                clock_.advanceToNextDeadline();
            }
            for (auto& holder : holders_) {
                holder->hasExited();
            }
        }
        ASSERT_FALSE(handle.error());
    }

    /// Starts a helper in `workingFolder`; returns it with the pid it wrote.
    std::pair<TestChild*, pid_t> startHolder(const std::string& program,
                                             std::vector<std::string> arguments,
                                             const std::filesystem::path& workingFolder) {
        const auto pidFile = folder_.path() / (program + ".pid");
        arguments.insert(arguments.begin(), helperProgram(program).string());
        arguments.push_back(pidFile.string());
        holders_.push_back(std::make_unique<TestChild>(std::move(arguments),
                                                       ChildOptions{.folder = workingFolder}));
        return {holders_.back().get(), awaitPidFile(pidFile)};
    }

    const BlockingProcess* blocker(pid_t pid) const {
        const auto& all = workflow_->blockers();
        const auto found = std::ranges::find(all, pid, &BlockingProcess::pid);
        return found == all.end() ? nullptr : &*found;
    }

    std::optional<LoopDisk> disk_;
    ManualExecutor executor_;
    VirtualClock clock_{executor_};
    RecordingLogger logger_;
    SignalRecord signals_;
    std::filesystem::path mountPoint_;
    std::filesystem::path idleMount_;
    std::shared_ptr<LoopDiskProvider> provider_;
    std::unique_ptr<SystemDiskIdentityValidator> validator_;
    std::unique_ptr<UDisks2Unmounter> unmounter_;
    std::unique_ptr<TovoWorkflow> workflow_;
    std::vector<std::unique_ptr<TestChild>> holders_;
};

TEST_F(EndToEndEjectionTest, ExplicitStopsReleaseARealDiskOneSignalEach) {
    const auto tmp = std::filesystem::temp_directory_path();
    const auto [folderHolder, folderPID] =
        startHolder("holder_cwd", {mountPoint_ / "Projects"}, tmp);
    const auto [writer, writerPID] = startHolder("holder_write", {mountPoint_ / "notes.txt"}, tmp);
    const auto [stubborn, stubbornPID] = startHolder("child_ignore_term", {}, mountPoint_);

    drive(workflow_->refresh());

    // The normal eject is refused as busy, and the diagnosis names exactly the holders.
    drive(workflow_->attemptEject());
    ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    EXPECT_TRUE(isMounted(mountPoint_));
    EXPECT_FALSE(isMounted(idleMount_)) << "udisks2 unmounts the idle volume first";
    ASSERT_EQ(workflow_->blockers().size(), 3u);
    EXPECT_TRUE(logger_.contains(
        LogLevel::error,
        "Eject failed kind=busy domain=org.freedesktop.UDisks2.Error.DeviceBusy code=0"))
        << ::testing::PrintToString(logger_.messages());

    ASSERT_TRUE(blocker(folderPID) && blocker(writerPID) && blocker(stubbornPID));

    // One stop request each ends the folder holder and the warned-about writer.
    for (const auto& [holder, pid] : {std::pair(folderHolder, folderPID), {writer, writerPID}}) {
        ASSERT_NE(blocker(pid), nullptr);
        drive(workflow_->performStop(*blocker(pid)));
        EXPECT_TRUE(eventually([&] { return holder->hasExited(); }));
        ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
        EXPECT_EQ(blocker(pid), nullptr);
    }

    // The stubborn one gets exactly one signal; the wait runs to its time-out.
    const auto before = clock_.now();
    drive(workflow_->performStop(*blocker(stubbornPID)));
    EXPECT_EQ(clock_.now() - before, std::chrono::nanoseconds(timeout));
    ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    ASSERT_EQ(workflow_->blockers().size(), 1u);
    EXPECT_TRUE(isAliveAndNotZombie(stubbornPID));

    // Once the test itself ends it, "Check Again" ejects the disk as it is now, with
    // one volume left.
    stubborn->end();
    drive(workflow_->attemptEject());
    EXPECT_EQ(workflow_->phase(), EjectionPhase::ejected("E2E"))
        << ::testing::PrintToString(logger_.messages());
    EXPECT_FALSE(isMounted(mountPoint_));
    EXPECT_TRUE(workflow_->disks().empty());

    // One SIGTERM to each holder, nothing else, ever.
    std::lock_guard lock(signals_.mutex);
    using Sent = std::pair<std::int32_t, std::int32_t>;
    EXPECT_EQ(
        signals_.sent,
        (std::vector<Sent>{{folderPID, SIGTERM}, {writerPID, SIGTERM}, {stubbornPID, SIGTERM}}));
}

} // namespace
} // namespace tovo
