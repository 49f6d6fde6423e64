#pragma once

#include "Tovo/Support/ProcessPresentation.hpp"
#include "TovoTerminal/DiskDiagnosis.hpp"
#include "TovoTerminal/TerminalStyle.hpp"

#include <string>

namespace tovo {

/// `tovo why`, and the blocked part of `tovo eject`: the disk, the status card,
/// then each holder with what it holds, its plan and its stop plan.
namespace DiagnosisOutput {

std::string text(const DiskDiagnosis& diagnosis, const ProcessPresentation& presentation,
                 const TerminalStyle& style);
std::string json(const DiskDiagnosis& diagnosis, const ProcessPresentation& presentation);

} // namespace DiagnosisOutput

} // namespace tovo
