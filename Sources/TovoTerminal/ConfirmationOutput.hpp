#pragma once

#include "Tovo/Support/ReleaseReviewPresentation.hpp"
#include "Tovo/Support/StopConfirmationPresentation.hpp"
#include "TovoTerminal/TerminalStyle.hpp"

#include <string>

namespace tovo {

/// The window's two confirmation sheets as terminal text; the question that ends
/// each is asked separately, with the sheet's confirm title.
namespace ConfirmationOutput {

/// Title, message, the caution line, then each holder, process or other, with its plan.
std::string review(const ReleaseReviewContent& content, const TerminalStyle& style);
/// Title, plan, warning, what happens next, the last-resort note and the owner.
std::string stop(const StopConfirmationContent& content, const TerminalStyle& style);
/// "Ask Apps to Quit? [y/N] "
std::string question(const std::string& confirmTitle);

} // namespace ConfirmationOutput

} // namespace tovo
