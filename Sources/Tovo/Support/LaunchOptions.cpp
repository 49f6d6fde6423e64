#include "Tovo/Support/LaunchOptions.hpp"

#include <algorithm>
#include <array>

namespace tovo {

namespace {

bool has(std::span<const std::string> arguments, std::string_view flag) {
    return std::find(arguments.begin(), arguments.end(), flag) != arguments.end();
}

constexpr std::array scenarioOrder{DemoScenarioKind::tovoable, DemoScenarioKind::blocked,
                                   DemoScenarioKind::ready, DemoScenarioKind::layered};

} // namespace

std::string_view switchName(DemoScenarioKind scenario) {
    switch (scenario) {
    case DemoScenarioKind::tovoable:
        return "--demo-tovoable";
    case DemoScenarioKind::blocked:
        return "--demo-blocked";
    case DemoScenarioKind::ready:
        return "--demo-ready";
    case DemoScenarioKind::layered:
        return "--demo-layered";
    }
    return {};
}

LaunchOptions parseLaunchOptions(std::span<const std::string> arguments) {
    LaunchOptions options;
    for (const auto scenario : scenarioOrder) {
        if (has(arguments, switchName(scenario))) {
            options.demoScenario = scenario;
            break;
        }
    }
    if (has(arguments, "--demo-light")) {
        options.appearance = AppearanceOverride::light;
    } else if (has(arguments, "--demo-dark")) {
        options.appearance = AppearanceOverride::dark;
    }
    return options;
}

LaunchOptions parseLaunchOptions(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    for (int index = 1; index < argc; ++index) {
        arguments.emplace_back(argv[index]);
    }
    return parseLaunchOptions(arguments);
}

} // namespace tovo
