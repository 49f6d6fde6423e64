#pragma once

#include "TovoCore/Models/EjectionState.hpp"

#include <optional>
#include <string>

namespace tovo {

/// The sentence spoken to assistive technology when the phase changes to `phase`;
/// nothing for ready. Not used for the first display.
std::optional<std::string> announcement(const EjectionPhase& phase);

/// Medium priority, as a number for screen-reader channels that take one.
inline constexpr int announcementPriority = 50;

} // namespace tovo
