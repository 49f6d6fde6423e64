// The whole ejection on a real mount: the real workflow, real lsof, real /proc,
// real signals and the real udisksd on a private bus, with real holder processes.
#include "Support/FakeApplicationRegistry.hpp"
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
#include "TovoSystemTests/ProcessTestSupport.hpp"
#include "UDisks2TestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>

namespace tovo {
namespace {

using namespace std::chrono_literals;
using namespace tovo::testing;

const std::filesystem::path udisksd = "/usr/libexec/udisks2/udisksd";
constexpr std::uint64_t settle = 100'000'000;  // 0.1 s
constexpr std::uint64_t timeout = 500'000'000; // 0.5 s

// Lists the one loop disk while it is mounted, as the volume provider would list a
// USB disk; loop images are never offered by the real provider.
class LoopDiskProvider final : public VolumeProviding {
public:
    LoopDiskProvider(std::filesystem::path mountPoint, std::string kernelName)
        : mountPoint_(std::move(mountPoint))
        , kernelName_(std::move(kernelName)) {}

    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        std::vector<ExternalDisk> disks;
        if (isMounted(mountPoint_)) {
            disks.push_back(
                ExternalDisk{"attachment:4242",
                             "E2E",
                             "Loop Disk",
                             std::nullopt,
                             4242,
                             kernelName_,
                             {DiskVolume{"E2E-VOLUME", "E2E-VOLUME", std::nullopt, "E2E",
                                         mountPoint_, 64'000'000, 60'000'000, "ext4", false}},
                             64'000'000});
        }
        co_return disks;
    }

private:
    std::filesystem::path mountPoint_;
    std::string kernelName_;
};

// Every signal Tovo sends, before it is really sent.
struct SignalRecord {
    std::mutex mutex;
    std::vector<std::pair<std::int32_t, std::int32_t>> sent;

    ExplicitProcessStopper::Signaler signaler() {
        return [this](std::int32_t pid, std::int32_t signal) {
            {
                std::lock_guard lock(mutex);
                sent.emplace_back(pid, signal);
            }
            return ::kill(pid, signal) == 0 ? 0 : -1;
        };
    }
};

// A holder process of the test: started with its working folder where asked,
// ended and reaped by the test itself.
class Holder {
public:
    Holder(std::vector<std::string> arguments, const std::filesystem::path& workingFolder,
           const std::filesystem::path& pidFile) {
        // Everything the child needs is prepared before fork: other threads may hold
        // the allocator's lock, so the child only changes folder and executes.
        std::vector<char*> argv;
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        const auto pid = ::fork();
        if (pid == 0) {
            if (::chdir(workingFolder.c_str()) != 0) {
                ::_exit(126);
            }
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        pid_ = awaitPidFile(pidFile) == pid ? pid : -1;
        started_ = pid;
    }
    ~Holder() { end(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    pid_t pid() const { return pid_; }
    /// Reaps the holder if it has exited; true once it is gone.
    bool hasExited() {
        if (started_ <= 0) {
            return true;
        }
        if (::waitpid(started_, nullptr, WNOHANG) == started_) {
            started_ = -1;
            return true;
        }
        return false;
    }
    void end() {
        if (started_ > 0) {
            ::kill(started_, SIGKILL); // the test's own clean-up, never Tovo's
            ::waitpid(started_, nullptr, 0);
            started_ = -1;
        }
    }

private:
    pid_t pid_ = -1;
    pid_t started_ = -1;
};

class EndToEndEjectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto reason = skipReason();
        if (reason.empty() && !std::filesystem::exists(udisksd)) {
            reason = "needs " + udisksd.string();
        }
        if (!reason.empty()) {
            GTEST_SKIP() << reason;
        }
        folder_ = scratchFolder("end-to-end");
        udev_ = std::make_unique<UdevDaemon>();
        bus_ = std::make_unique<PrivateBus>(folder_);
        daemon_ = std::make_unique<Child>(
            std::vector<std::string>{udisksd.string()},
            std::vector<std::string>{"DBUS_SYSTEM_BUS_ADDRESS=" + bus_->address()},
            folder_ / "udisksd.log");
        if (!waitFor([&] { return bus_->hasName("org.freedesktop.UDisks2"); })) {
            GTEST_SKIP() << "udisksd did not start: "
                         << shell("cat '" + (folder_ / "udisksd.log").string() + "'");
        }
        disk_ = std::make_unique<LoopDisk>(folder_, "e2e");
        ASSERT_TRUE(disk_->isAttached());
        disk_->format(disk_->device(), "E2E");
        UdevDaemon::settle();
        mountPoint_ = disk_->mount(disk_->device(), folder_ / "E2E mount");
        std::filesystem::create_directories(mountPoint_ / "Projects");
        ASSERT_TRUE(waitFor([&] { return bus_->udisksReportsMount(mountPoint_); }));

        auto registry = std::make_shared<FakeApplicationRegistry>();
        auto metadata = std::make_shared<SystemProcessMetadataProvider>(registry);
        provider_ = std::make_shared<LoopDiskProvider>(mountPoint_, disk_->kernelName());
        validatorProvider_ = std::make_shared<LoopDiskProvider>(mountPoint_, disk_->kernelName());
        validator_ = std::make_unique<SystemDiskIdentityValidator>(*validatorProvider_);
        unmounter_ = std::make_unique<UDisks2Unmounter>(executor_, bus_->address(), 20s);
        workflow_ = std::make_unique<TovoWorkflow>(
            provider_, std::make_shared<FileManagerDiskEjector>(*unmounter_, *validator_),
            std::make_shared<LsofBlockerDiagnoser>(
                std::make_shared<SystemCommandRunner>(executor_, 8.0), LsofFieldParser{}, metadata),
            std::make_shared<GracefulProcessReleaser>(::getuid(), ::getpid(), metadata, registry),
            std::make_shared<ExplicitProcessStopper>(::getuid(), ::getpid(), metadata, registry,
                                                     signals_.signaler()),
            settle, timeout, clock_, logger_, executor_);
    }

    void TearDown() override {
        holders_.clear();
        workflow_.reset();
        disk_.reset();
        daemon_.reset();
        bus_.reset();
        udev_.reset();
        if (!folder_.empty()) {
            std::filesystem::remove_all(folder_);
        }
    }

    // Runs an operation to its end, moving virtual time whenever the workflow sleeps.
    void drive(Task<void> operation) {
        auto handle = spawn(executor_, std::move(operation));
        while (!handle.isDone()) {
            ASSERT_TRUE(executor_.runUntil(
                [&] { return handle.isDone() || clock_.sleeperCount() > 0; }, 60s))
                << "the operation did not finish; phase " << workflow_->phase().caseName();
            if (clock_.sleeperCount() > 0) {
                ++sleeps_;
                clock_.advanceToNextDeadline();
            }
            for (auto& holder : holders_) {
                holder->hasExited();
            }
        }
        ASSERT_FALSE(handle.error());
    }

    Holder& startHolder(std::vector<std::string> arguments,
                        const std::filesystem::path& workingFolder, const std::string& name) {
        const auto pidFile = folder_ / (name + ".pid");
        arguments.push_back(pidFile.string());
        holders_.push_back(std::make_unique<Holder>(std::move(arguments), workingFolder, pidFile));
        return *holders_.back();
    }

    const BlockingProcess* blocker(pid_t pid) const {
        const auto& blockers = workflow_->blockers();
        auto found = std::ranges::find(blockers, pid, &BlockingProcess::pid);
        return found == blockers.end() ? nullptr : &*found;
    }

    const ProcessStopPlan* stopPlan(pid_t pid) const {
        const auto& plans = workflow_->stopPlans();
        auto found = std::ranges::find(plans, pid, &ProcessStopPlan::processID);
        return found == plans.end() ? nullptr : &*found;
    }

    const ProcessReleasePlan* releasePlan(pid_t pid) const {
        const auto& plans = workflow_->releasePlans();
        auto found = std::ranges::find(plans, pid, &ProcessReleasePlan::processID);
        return found == plans.end() ? nullptr : &*found;
    }

    std::size_t signalsTo(pid_t pid) {
        std::lock_guard lock(signals_.mutex);
        return std::ranges::count(signals_.sent, pid,
                                  &std::pair<std::int32_t, std::int32_t>::first);
    }

    ManualExecutor executor_;
    VirtualClock clock_{executor_};
    RecordingLogger logger_;
    SignalRecord signals_;
    std::filesystem::path folder_;
    std::filesystem::path mountPoint_;
    std::unique_ptr<UdevDaemon> udev_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<Child> daemon_;
    std::unique_ptr<LoopDisk> disk_;
    std::shared_ptr<LoopDiskProvider> provider_;
    std::shared_ptr<LoopDiskProvider> validatorProvider_;
    std::unique_ptr<SystemDiskIdentityValidator> validator_;
    std::unique_ptr<UDisks2Unmounter> unmounter_;
    std::unique_ptr<TovoWorkflow> workflow_;
    std::vector<std::unique_ptr<Holder>> holders_;
    int sleeps_ = 0;
};

TEST_F(EndToEndEjectionTest, ExplicitStopsReleaseARealDiskOneSignalEach) {
    const auto tmp = std::filesystem::temp_directory_path();
    auto& folderHolder = startHolder(
        {helperProgram("holder_cwd").string(), (mountPoint_ / "Projects").string()}, tmp, "cwd");
    auto& writer =
        startHolder({helperProgram("holder_write").string(), (mountPoint_ / "notes.txt").string()},
                    tmp, "writer");
    auto& stubborn =
        startHolder({helperProgram("child_ignore_term").string()}, mountPoint_, "stubborn");
    ASSERT_GT(folderHolder.pid(), 1);
    ASSERT_GT(writer.pid(), 1);
    ASSERT_GT(stubborn.pid(), 1);

    drive(workflow_->refresh());
    ASSERT_EQ(workflow_->selectedDiskID(), "attachment:4242");

    // The normal eject is refused as busy, and the diagnosis names exactly the holders.
    drive(workflow_->attemptEject());
    ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    ASSERT_EQ(workflow_->blockers().size(), 3u);
    EXPECT_TRUE(logger_.contains(
        LogLevel::error,
        "Eject failed kind=busy domain=org.freedesktop.UDisks2.Error.DeviceBusy code=0"))
        << ::testing::PrintToString(logger_.messages());
    EXPECT_TRUE(logger_.contains(LogLevel::info, "Diagnosis completed blockers=3"));

    const auto* cwdBlocker = blocker(folderHolder.pid());
    ASSERT_NE(cwdBlocker, nullptr);
    ASSERT_EQ(cwdBlocker->openFiles.size(), 1u);
    EXPECT_EQ(cwdBlocker->openFiles[0].descriptor, "cwd");
    EXPECT_EQ(cwdBlocker->openFiles[0].path, (mountPoint_ / "Projects").string());
    EXPECT_EQ(cwdBlocker->userID, ::getuid());
    EXPECT_EQ(cwdBlocker->parentPID, ::getpid());
    EXPECT_TRUE(cwdBlocker->startTime && cwdBlocker->executablePath);
    EXPECT_EQ(releasePlan(folderHolder.pid())->message,
              "Its current folder is on this disk. Close this command or helper, then try again.");

    const auto* writerBlocker = blocker(writer.pid());
    ASSERT_NE(writerBlocker, nullptr);
    ASSERT_EQ(writerBlocker->openFiles.size(), 1u);
    const auto descriptor = writerBlocker->openFiles[0].descriptor.value_or("");
    EXPECT_TRUE(!descriptor.empty() &&
                descriptor.find_first_not_of("0123456789") == std::string::npos)
        << descriptor;
    EXPECT_EQ(writerBlocker->openFiles[0].path, (mountPoint_ / "notes.txt").string());
    EXPECT_EQ(writerBlocker->openFiles[0].access, OpenAccess::write);
    EXPECT_EQ(writerBlocker->openFiles[0].fileType, "REG");
    EXPECT_EQ(releasePlan(writer.pid())->message,
              "It can write to the disk. Finish its work first.");
    ASSERT_NE(stopPlan(writer.pid()), nullptr);
    EXPECT_EQ(stopPlan(writer.pid())->method, StopMethod::terminateProcess);
    EXPECT_EQ(stopPlan(writer.pid())->warning,
              "It has a file open for writing. Stopping it now can leave that file incomplete.");

    const auto* stubbornBlocker = blocker(stubborn.pid());
    ASSERT_NE(stubbornBlocker, nullptr);
    EXPECT_TRUE(stubbornBlocker->holdsCurrentFolder());
    for (const auto& plan : workflow_->releasePlans()) {
        EXPECT_EQ(plan.strategy, ReleaseStrategy::manualAction) << plan.processName;
    }

    // One stop request ends the folder holder; the others keep the disk.
    drive(workflow_->performStop(*cwdBlocker));
    EXPECT_TRUE(waitFor([&] { return folderHolder.hasExited(); }));
    ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    EXPECT_EQ(workflow_->blockers().size(), 2u);
    EXPECT_EQ(blocker(folderHolder.pid()), nullptr);
    ASSERT_EQ(workflow_->releaseAttempts().size(), 1u);
    EXPECT_EQ(workflow_->releaseAttempts()[0].processID, folderHolder.pid());
    EXPECT_EQ(workflow_->releaseAttempts()[0].disposition, ReleaseDisposition::requested);
    EXPECT_EQ(signalsTo(folderHolder.pid()), 1u);

    // The writer, warned about, stops on its one request too.
    drive(workflow_->performStop(*blocker(writer.pid())));
    EXPECT_TRUE(waitFor([&] { return writer.hasExited(); }));
    ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    ASSERT_EQ(workflow_->blockers().size(), 1u);
    EXPECT_EQ(workflow_->blockers()[0].pid, stubborn.pid());

    // The stubborn one gets exactly one signal; the wait runs to its time-out.
    sleeps_ = 0;
    const auto before = clock_.now();
    drive(workflow_->performStop(workflow_->blockers()[0]));
    EXPECT_EQ(clock_.now() - before, std::chrono::nanoseconds(timeout));
    EXPECT_EQ(sleeps_, 5);
    ASSERT_EQ(workflow_->phase(), EjectionPhase::blocked());
    ASSERT_EQ(workflow_->blockers().size(), 1u);
    EXPECT_EQ(workflow_->blockers()[0].pid, stubborn.pid());
    EXPECT_EQ(signalsTo(stubborn.pid()), 1u);
    EXPECT_TRUE(isAliveAndNotZombie(stubborn.pid()));
    EXPECT_TRUE(logger_.contains(LogLevel::info, "Release recheck still blocked count=1"));

    // Once the test itself ends the last holder, "Check Again" ejects for real.
    stubborn.end();
    drive(workflow_->attemptEject());
    EXPECT_EQ(workflow_->phase(), EjectionPhase::ejected("E2E"));
    EXPECT_FALSE(isMounted(mountPoint_));
    EXPECT_TRUE(workflow_->disks().empty());

    std::lock_guard lock(signals_.mutex);
    EXPECT_EQ(signals_.sent.size(), 3u);
    for (const auto& [pid, signal] : signals_.sent) {
        EXPECT_EQ(signal, SIGTERM) << "pid " << pid;
    }
}

} // namespace
} // namespace tovo
