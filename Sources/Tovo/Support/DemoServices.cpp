#include "Tovo/Support/DemoServices.hpp"

namespace tovo {

const std::vector<BlockingProcess>& demoInitialBlockers(DemoScenarioKind scenario) {
    static const std::vector<BlockingProcess> none;
    switch (scenario) {
    case DemoScenarioKind::tovoable:
        return DemoData::tovoableBlockers();
    case DemoScenarioKind::blocked:
        return DemoData::protectedBlockers();
    case DemoScenarioKind::ready:
    case DemoScenarioKind::layered:
        return none;
    }
    return none;
}

const std::vector<BusyCause>& demoInitialCauses(DemoScenarioKind scenario) {
    static const std::vector<BusyCause> none;
    return scenario == DemoScenarioKind::layered ? DemoData::layeredCauses() : none;
}

bool demoAllowsAutomaticQuit(DemoScenarioKind scenario) {
    return scenario == DemoScenarioKind::tovoable;
}

DemoServices makeDemoServices(DemoScenarioKind scenario, Executor& mainExecutor,
                              std::shared_ptr<Executor> isolation) {
    auto shared =
        std::make_shared<DemoScenario>(demoInitialBlockers(scenario), demoInitialCauses(scenario),
                                       mainExecutor, std::move(isolation));
    return DemoServices{
        shared,
        std::make_shared<DemoVolumeProvider>(),
        std::make_shared<DemoEjector>(shared),
        std::make_shared<DemoBlockerDiagnoser>(shared),
        std::make_shared<DemoProcessReleaser>(shared, demoAllowsAutomaticQuit(scenario)),
        std::make_shared<DemoBusyCauseFinder>(shared)};
}

} // namespace tovo
