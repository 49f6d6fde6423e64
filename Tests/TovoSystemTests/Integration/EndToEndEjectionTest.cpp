// The whole ejection on a real mount: the real workflow, real lsof, real /proc,
// real signals and the real udisksd on a private bus, with real holder processes.
#include "Support/FakeApplicationRegistry.hpp"
#include "Support/ModelBuilders.hpp"
#include "Support/RecordingLogger.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <mutex>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using namespace tovo::testing;

class EndToEndEjectionTest : public RealUdisksTest {
protected:
    // Two partitions: the holders' busy one and an idle one, which udisks2 unmounts
    // before the busy one refuses.
    void SetUp() override {
        RealUdisksTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        disk_.emplace(folder_.path(), "e2e");
        disk_->partitionInTwo();
        busy_ = udisks_->mount(*disk_, disk_->device() + "p1", folder_.path() / "busy mount");
        idle_ = udisks_->mount(*disk_, disk_->device() + "p2", folder_.path() / "idle");
        // Listed by its real attachment, which the unmounter proves again.
        auto listed = makeDisk(disk_->diskSequence(), "E2E");
        listed.wholeDiskIdentifier = disk_->kernelName();
        listed.volumes = {makeVolume("BUSY", busy_), makeVolume("IDLE", idle_)};
        auto registry = std::make_shared<FakeApplicationRegistry>();
        auto metadata = std::make_shared<SystemProcessMetadataProvider>(registry);
        provider_ = loopListing(executor_, std::move(listed));
        validator_ = std::make_unique<SystemDiskIdentityValidator>(*provider_);
        unmounter_ = std::make_unique<UDisks2Unmounter>(executor_, udisks_->bus.address(), 20s);
        // Every signal Tovo sends, recorded once its target is pinned and proved.
        const auto signaler = [this](std::int32_t pid, std::int32_t signal,
                                     const std::function<bool()>& confirm) {
            return ExplicitProcessStopper::systemSignaler()(pid, signal, [&] {
                const std::lock_guard lock(mutex_);
                return confirm() && (sent_.emplace_back(pid, signal), true);
            });
        };
        workflow_ = std::make_unique<TovoWorkflow>(
            provider_, std::make_shared<FileManagerDiskEjector>(*unmounter_, *validator_),
            std::make_shared<LsofBlockerDiagnoser>(
                executor_, std::make_shared<SystemCommandRunner>(executor_, 8.0), LsofFieldParser{},
                metadata),
            std::make_shared<GracefulProcessReleaser>(executor_, ::getuid(), ::getpid(), metadata,
                                                      registry),
            std::make_shared<ExplicitProcessStopper>(executor_, ::getuid(), ::getpid(), metadata,
                                                     registry, signaler),
            100'000'000, 500'000'000, clock_, logger_, executor_);
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
            for (auto& holder : holders_.all) {
                holder->hasExited();
            }
        }
        ASSERT_FALSE(handle.error());
    }

    std::optional<LoopDisk> disk_;
    ManualExecutor executor_;
    VirtualClock clock_{executor_};
    RecordingLogger logger_;
    std::mutex mutex_;
    std::vector<std::pair<std::int32_t, std::int32_t>> sent_;
    std::filesystem::path busy_;
    std::filesystem::path idle_;
    std::shared_ptr<ScriptedVolumeProvider> provider_;
    std::unique_ptr<SystemDiskIdentityValidator> validator_;
    std::unique_ptr<UDisks2Unmounter> unmounter_;
    std::unique_ptr<TovoWorkflow> workflow_;
    Holders holders_{folder_.path()};
};

TEST_F(EndToEndEjectionTest, ExplicitStopsReleaseARealDiskOneSignalEach) {
    const auto tmp = std::filesystem::temp_directory_path();
    const std::vector<pid_t> pids{holders_.start({"holder_cwd", busy_}, tmp),
                                  holders_.start({"holder_write", busy_ / "notes.txt"}, tmp),
                                  holders_.start({"child_ignore_term"}, busy_)};

    // The normal eject is refused as busy, and the diagnosis names exactly the holders.
    drive(workflow_->refresh());
    drive(workflow_->attemptEject());
    ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    EXPECT_FALSE(isMounted(idle_)) << "udisks2 unmounts the idle volume first";
    ASSERT_EQ(workflow_->blockers().size(), 3u);

    // One stop request each ends the folder holder and the warned-about writer; the
    // last one ignores it and stays.
    for (const auto pid : pids) {
        const auto& blockers = workflow_->blockers();
        const auto found = std::ranges::find(blockers, pid, &BlockingProcess::pid);
        ASSERT_NE(found, blockers.end()) << pid;
        drive(workflow_->performStop(*found));
        ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    }
    ASSERT_EQ(workflow_->blockers().size(), 1u);
    EXPECT_TRUE(isAliveAndNotZombie(pids[2]));

    // Once the test itself ends it, "Check Again" ejects the disk.
    holders_.all[2]->end();
    drive(workflow_->attemptEject());
    EXPECT_EQ(workflow_->phase(), EjectionPhase::ejected("E2E"))
        << ::testing::PrintToString(logger_.messages());
    EXPECT_FALSE(isMounted(busy_));

    // One SIGTERM to each holder, nothing else, ever.
    const std::lock_guard lock(mutex_);
    EXPECT_EQ(sent_, (std::vector<std::pair<std::int32_t, std::int32_t>>{
                         {pids[0], SIGTERM}, {pids[1], SIGTERM}, {pids[2], SIGTERM}}));
}

} // namespace
} // namespace tovo
