#pragma once

#include "Tovo/Support/StatusPresentation.hpp"
#include "TovoTerminal/TerminalStyle.hpp"

#include <string>

namespace tovo {

/// The window's status card as terminal text.
namespace StatusOutput {

/// The symbol and title on one line, the message indented below it.
std::string text(const StatusContent& content, const TerminalStyle& style);
/// Title and message on one line, for progress.
std::string line(const StatusContent& content);

} // namespace StatusOutput

} // namespace tovo
