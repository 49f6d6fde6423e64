#pragma once

#include "Tovo/Support/DemoServices.hpp"
#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <memory>

namespace tovo {

/// The workflow of one demo run over its own demo services: the releaser is also
/// the stopper, the disk is polled every quarter second for at most five seconds.
/// The workflow keeps its services alive. `isolation` replaces the scenario's own
/// worker thread (tests pass a manual executor).
std::unique_ptr<TovoWorkflow> makeDemoWorkflow(DemoScenarioKind scenario, Clock& clock,
                                               Logger& logger, Executor& mainExecutor,
                                               std::shared_ptr<Executor> isolation = nullptr);

} // namespace tovo
