#pragma once

#include <string>

namespace tovo {

/// `tovo --help`: the commands, what DISK may be, the options and the exit codes.
std::string terminalHelpText();
/// `tovo --version`.
std::string terminalVersionText();
/// Printed after a usage error.
std::string terminalHelpHint();

} // namespace tovo
