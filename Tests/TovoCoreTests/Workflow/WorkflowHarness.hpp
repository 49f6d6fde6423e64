#pragma once

#include "Support/ModelBuilders.hpp"
#include "Support/RecordingLogger.hpp"
#include "Support/ScriptedBusyCauseFinder.hpp"
#include "Support/ScriptedServices.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <gmock/gmock.h>

#include <array>

namespace tovo::testing {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Entry = RecordingLogger::Entry;
using Level = LogLevel;
using Processes = std::vector<BlockingProcess>;
using ListSizes = std::array<std::size_t, 6>;

inline const ExternalDisk photos = makeDisk(1, "Photos");
inline const ExternalDisk backup = makeDisk(2, "Backup");
inline const ExternalDisk archive = makeDisk(3, "Archive");
inline const BlockingProcess editor = makeProcess(501, "editor");
inline const BlockingProcess viewer = makeProcess(502, "viewer");
inline const BlockingProcess shell = makeProcess(503, "bash");
inline const BusyCause nested =
    makeCause(BusyCauseKind::nestedMount, "/media/Photos/inner", BusyCauseAction::unmountNested);

/// Where a cancelled eject ends: the system may still be at work on `disk`.
inline EjectionPhase unconfirmedEject(const ExternalDisk& disk) {
    return EjectionPhase::failed("Eject not confirmed",
                                 "Tovo stopped waiting before the system finished, so “" +
                                     disk.displayName +
                                     "” may still be in use or being written. Do not unplug it; "
                                     "eject it again first.",
                                 FailureRecovery::retryEject);
}

using DiagnosisOutcome = ScriptedOperation<Processes, DiagnosisCall>::Outcome;

struct WorkflowOptions {
    bool dissentAware = true;
    bool withStopper = true;
    std::uint64_t settle = 1'200'000'000;
    std::uint64_t timeout = 5'000'000'000;
};

/// A workflow over scripted services, a manual executor and virtual time: nothing
/// happens until the test runs the executor, resolves a call or advances the clock.
struct WorkflowHarness {
    explicit WorkflowHarness(WorkflowOptions options = {})
        : stopper(options.withStopper ? std::make_shared<ScriptedProcessStopper>(executor)
                                      : nullptr) {
        auto diagnoser = options.dissentAware
                             ? scripted<ScriptedDiagnoser<DissentAwareBlockerDiagnosing>>()
                             : scripted<ScriptedDiagnoser<BlockerDiagnosing>>();
        workflow = std::make_unique<TovoWorkflow>(volumes, ejector, diagnoser, releaser, stopper,
                                                  options.settle, options.timeout, clock, logger,
                                                  executor);
        workflow->setBusyCauseFinder(causeFinder);
    }

    template<class Diagnoser>
    std::shared_ptr<BlockerDiagnosing> scripted() {
        auto diagnoser = std::make_shared<Diagnoser>(executor);
        diagnoses = &diagnoser->diagnoses;
        return diagnoser;
    }

    /// Ends every operation still waiting on a double, so no coroutine outlives the test.
    ~WorkflowHarness() {
        for (const auto& handle : started) {
            handle.requestCancellation();
        }
        executor.runAll();
    }

    /// Spawns an operation and runs the executor until nothing is left to do.
    TaskHandle start(Task<void> task) {
        started.push_back(spawn(executor, std::move(task)));
        executor.runAll();
        return started.back();
    }
    void run() { executor.runAll(); }
    void advance(std::chrono::nanoseconds duration) {
        clock.advance(duration);
        executor.runAll();
    }
    /// Advances virtual time from deadline to deadline until nobody sleeps any more.
    void runOutTheClock() {
        while (clock.advanceToNextDeadline()) {
            executor.runAll();
        }
    }

    void listDisks(std::vector<ExternalDisk> listed) {
        volumes->listing.enqueueValue(std::move(listed));
        start(workflow->refresh());
    }

    /// Leaves the running operation's screen and picks `backup`, as a user would.
    void selectOtherDisk() {
        volumes->listing.enqueueValue({photos, backup});
        start(workflow->resetResult());
        workflow->selectDisk(backup.id);
        logger.clear();
    }

    static EjectionFailure busyFailure(std::optional<std::int32_t> dissenter = std::nullopt) {
        return EjectionFailure("The disk is in use.", dissenter, EjectionFailureKind::busy,
                               "org.freedesktop.UDisks2.Error", 7);
    }

    /// Lists `listed`, selects the first disk and ejects it into `blocked` by `found`.
    void reachBlocked(Processes found, std::vector<ExternalDisk> listed = {photos, backup}) {
        listDisks(std::move(listed));
        ejector->ejects.enqueueError(busyFailure());
        diagnoses->enqueueValue(std::move(found));
        start(workflow->attemptEject());
        ASSERT_EQ(workflow->phase(), EjectionPhase::blocked());
        logger.clear();
    }

    /// Applications may be asked to quit; the shell is left to the user.
    WorkflowHarness& quitForApps() {
        releaser->planEach([](const BlockingProcess& process) {
            return process.command == "bash" ? manualPlan(process) : quitPlan(process);
        });
        return *this;
    }

    /// Blocked again after a release whose retry was refused: every list holds something.
    void reachFullyBlocked() {
        causeFinder->searches.enqueueValue({nested});
        quitForApps().reachBlocked({editor});
        releaser->answerRequestsWith(ReleaseDisposition::requested);
        for (const auto& look : {Processes{editor}, Processes{}, Processes{editor}}) {
            diagnoses->enqueueValue(look);
        }
        causeFinder->searches.enqueueValue({nested});
        causeFinder->searches.enqueueValue({nested});
        ejector->ejects.enqueueError(busyFailure());
        start(workflow->performSafeTovo());
        runOutTheClock();
        ASSERT_EQ(workflow->phase(), EjectionPhase::blocked());
        ASSERT_THAT(listSizes(), ::testing::Each(::testing::Gt(0u)));
        logger.clear();
    }

    /// Blockers, release plans, stop plans, release attempts, busy causes, cause attempts.
    std::array<std::size_t, 6> listSizes() const {
        const auto& w = *workflow;
        return {w.blockers().size(),        w.releasePlans().size(), w.stopPlans().size(),
                w.releaseAttempts().size(), w.busyCauses().size(),   w.causeAttempts().size()};
    }

    /// Calls that act, or plan a release; looks at the disk are left out.
    std::size_t actions() const {
        return releaser->plans.callCount() + releaser->requests.callCount() +
               (stopper ? stopper->stops.callCount() : 0) + ejector->ejects.callCount() +
               causeFinder->resolutions.callCount();
    }

    ManualExecutor executor;
    VirtualClock clock{executor};
    RecordingLogger logger;
    std::shared_ptr<ScriptedVolumeProvider> volumes =
        std::make_shared<ScriptedVolumeProvider>(executor);
    std::shared_ptr<ScriptedDiskEjector> ejector = std::make_shared<ScriptedDiskEjector>(executor);
    std::shared_ptr<ScriptedProcessReleaser> releaser =
        std::make_shared<ScriptedProcessReleaser>(executor);
    std::shared_ptr<ScriptedProcessStopper> stopper;
    std::shared_ptr<ScriptedBusyCauseFinder> causeFinder =
        std::make_shared<ScriptedBusyCauseFinder>(executor);
    ScriptedOperation<Processes, DiagnosisCall>* diagnoses = nullptr;
    std::unique_ptr<TovoWorkflow> workflow;
    std::vector<TaskHandle> started;
};

/// A test with a fresh harness and its workflow at hand.
struct HarnessTest : ::testing::Test {
    WorkflowHarness h;
    TovoWorkflow& workflow = *h.workflow;
};

template<class Param>
struct HarnessParamTest : HarnessTest, ::testing::WithParamInterface<Param> {};

/// An error with a known domain and code, as a failing service would raise.
struct TestError final : Error {
    explicit TestError(std::string text = "lsof timed out.")
        : text(std::move(text)) {}
    std::string description() const override { return text; }
    std::string domain() const override { return "TestDomain"; }
    std::int64_t code() const override { return 42; }

    std::string text;
};

/// The same process started again later under the same pid.
inline BlockingProcess restarted(BlockingProcess process) {
    process.startTime = ProcessStartTime{process.startTime->seconds + 60, 0};
    return process;
}

} // namespace tovo::testing
