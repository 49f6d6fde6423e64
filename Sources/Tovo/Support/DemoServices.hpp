#pragma once

#include "Tovo/Support/DemoBlockerDiagnoser.hpp"
#include "Tovo/Support/DemoBusyCauseFinder.hpp"
#include "Tovo/Support/DemoData.hpp"
#include "Tovo/Support/DemoEjector.hpp"
#include "Tovo/Support/DemoProcessReleaser.hpp"
#include "Tovo/Support/DemoScenario.hpp"
#include "Tovo/Support/DemoVolumeProvider.hpp"
#include "Tovo/Support/LaunchOptions.hpp"

#include <cstdint>
#include <memory>

namespace tovo {

/// The demo's service graph: one scenario shared by the ejector, the diagnoser, the
/// cause finder and the releaser, which is also the stopper.
struct DemoServices {
    std::shared_ptr<DemoScenario> scenario;
    std::shared_ptr<DemoVolumeProvider> volumeProvider;
    std::shared_ptr<DemoEjector> ejector;
    std::shared_ptr<DemoBlockerDiagnoser> diagnoser;
    std::shared_ptr<DemoProcessReleaser> releaser; ///< also the stopper
    std::shared_ptr<DemoBusyCauseFinder> causeFinder;
};

/// The blockers a scenario starts with.
const std::vector<BlockingProcess>& demoInitialBlockers(DemoScenarioKind scenario);
/// The causes besides processes a scenario starts with.
const std::vector<BusyCause>& demoInitialCauses(DemoScenarioKind scenario);
/// Only the Tovo-able run lets the releaser ask apps to quit.
bool demoAllowsAutomaticQuit(DemoScenarioKind scenario);

/// Builds the services of one demo run; they resume on `mainExecutor`.
/// `isolation` replaces the scenario's own worker thread (tests pass a manual one).
DemoServices makeDemoServices(DemoScenarioKind scenario, Executor& mainExecutor,
                              std::shared_ptr<Executor> isolation = nullptr);

/// Demo timing: a quick poll so the flow is pleasant to watch, the usual time-out.
inline constexpr std::uint64_t demoSettleDelayNanoseconds = 250'000'000;
inline constexpr std::uint64_t demoReleaseTimeoutNanoseconds = 5'000'000'000;

} // namespace tovo
