#pragma once

#include "Tovo/Support/PresentationColors.hpp"
#include "TovoCore/Models/BusyCause.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// Everything one cause's row shows, in the plain words of the process rows.
struct BusyCauseRowContent {
    std::string key;
    std::string title;    ///< "Disk image"
    std::string sentence; ///< "A disk image from this disk is attached as /dev/loop3."
    std::string symbol;
    std::string statusSymbol;
    SymbolColor statusSymbolColor;
    /// The latest attempt's message when there is one, else the plan's.
    std::string message;
    /// The facts behind the sentence: device, backing file, holding process.
    std::vector<std::string> detailLines;

    bool operator==(const BusyCauseRowContent&) const = default;
};

/// Words for the causes besides processes. Plain C++: the window and the terminal
/// front-end both print them.
namespace BusyCausePresentation {

std::string title(const BusyCause& cause);
std::string sentence(const BusyCause& cause);
std::string symbol(BusyCauseKind kind);
/// What Tovo will do, as the review lists it; none when the cause is the user's.
std::optional<std::string> reviewAction(const BusyCause& cause);

/// The latest (last recorded) attempt for the cause.
std::optional<BusyCauseAttempt> latestAttemptFor(const BusyCause& cause,
                                                 const std::vector<BusyCauseAttempt>& attempts);
BusyCauseRowContent row(const BusyCause& cause, const std::optional<BusyCauseAttempt>& attempt);
std::vector<BusyCauseRowContent> rows(const std::vector<BusyCause>& causes,
                                      const std::vector<BusyCauseAttempt>& attempts);

/// The sentence, then the plan, then the facts, one per line: for a terminal.
std::string plainText(const BusyCause& cause);

} // namespace BusyCausePresentation

} // namespace tovo
