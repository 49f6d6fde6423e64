#pragma once

#include "Tovo/Support/ServiceGraph.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <vector>

namespace tovo {

/// A hard case for the window, made of the demo's own services: a disk whose name is
/// 66 characters without a space, held by four processes of different kinds, one with
/// paths lsof had to escape. TovoScreens renders it; the window tests lay it out.
namespace CrowdedSample {

inline constexpr const char* diskName =
    "PHOTO_ARCHIVE_2009_2024_FAMILY_TRAVEL_SCANNED_SLIDES_SECOND_COPY_X";

const ExternalDisk& disk();
/// An image viewer, a shell, a virtual machine and a copy tool.
const std::vector<BlockingProcess>& blockers();
/// The demo services over `disk()` and `holders` (by default `blockers()`); Tovo may
/// ask apps to quit.
ServiceGraph serviceGraph(Executor& mainExecutor);
ServiceGraph serviceGraphWith(Executor& mainExecutor, std::vector<BlockingProcess> holders);

} // namespace CrowdedSample

} // namespace tovo
