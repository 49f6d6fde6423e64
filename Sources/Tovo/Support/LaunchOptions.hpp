#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tovo {

/// Which sample run demo mode starts with.
enum class DemoScenarioKind { tovoable, blocked, ready, layered };

/// A forced appearance; without one the system's choice stands.
enum class AppearanceOverride { light, dark };

/// What the command line asks for. A switch counts only when an argument equals it
/// exactly; position does not matter.
struct LaunchOptions {
    /// Demo services with this scenario; absent means the real services.
    std::optional<DemoScenarioKind> demoScenario;
    std::optional<AppearanceOverride> appearance;

    bool isDemo() const { return demoScenario.has_value(); }
    bool operator==(const LaunchOptions&) const = default;
};

/// Reads the switches. Of the scenario switches the first in the order
/// --demo-tovoable, --demo-blocked, --demo-ready, --demo-layered that is present wins;
/// --demo-light wins over --demo-dark.
LaunchOptions parseLaunchOptions(std::span<const std::string> arguments);
/// The same over main's arguments; argv[0], the program, is not a switch.
LaunchOptions parseLaunchOptions(int argc, const char* const* argv);

std::string_view switchName(DemoScenarioKind scenario);

} // namespace tovo
