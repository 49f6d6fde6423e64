#include "Tovo/Support/DemoServices.hpp"
#include "Tovo/Support/DemoWriteOutMonitor.hpp"
#include "Tovo/Support/ServiceGraph.hpp"

namespace tovo {

ServiceGraph makeDemoServiceGraph(DemoScenarioKind scenario, Executor& mainExecutor) {
    DemoServices demo = makeDemoServices(scenario, mainExecutor);
    // One releaser plays both parts, as the demo's stop requests share its scenario.
    ServiceGraph sample{demo.volumeProvider,
                        demo.ejector,
                        demo.diagnoser,
                        demo.releaser,
                        demo.releaser,
                        demoSettleDelayNanoseconds,
                        demoReleaseTimeoutNanoseconds,
                        nullptr,
                        demo.scenario,
                        std::make_shared<DemoWriteOutMonitor>()};
    sample.causeFinder = demo.causeFinder;
    return sample;
}

} // namespace tovo
