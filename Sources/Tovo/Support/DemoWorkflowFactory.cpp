#include "Tovo/Support/DemoWorkflowFactory.hpp"

namespace tovo {

std::unique_ptr<TovoWorkflow> makeDemoWorkflow(DemoScenarioKind scenario, Clock& clock,
                                               Logger& logger, Executor& mainExecutor,
                                               std::shared_ptr<Executor> isolation) {
    auto services = makeDemoServices(scenario, mainExecutor, std::move(isolation));
    auto workflow = std::make_unique<TovoWorkflow>(
        services.volumeProvider, services.ejector, services.diagnoser, services.releaser,
        services.releaser, demoSettleDelayNanoseconds, demoReleaseTimeoutNanoseconds, clock, logger,
        mainExecutor);
    workflow->setBusyCauseFinder(services.causeFinder);
    return workflow;
}

} // namespace tovo
