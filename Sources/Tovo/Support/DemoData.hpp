#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/BusyCause.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <vector>

namespace tovo {

/// The fixed sample data of demo mode, built once on first use. The values are
/// shown on screen and in the flow, so they stay exactly as they are (the paths
/// included: the sample tells the same story on every system).
namespace DemoData {

/// "345-BACKUP", a 1 TB external SSD with one APFS volume.
const ExternalDisk& disk();
/// An ordinary application (Preview, pid 63120) that can be asked to quit.
const std::vector<BlockingProcess>& tovoableBlockers();
/// A running virtual machine (pid 90294), never quit automatically.
const std::vector<BlockingProcess>& protectedBlockers();
/// No process, but a file system mounted inside the disk and a disk image from it
/// attached as a loop device; the system can release both.
const std::vector<BusyCause>& layeredCauses();

} // namespace DemoData

} // namespace tovo
