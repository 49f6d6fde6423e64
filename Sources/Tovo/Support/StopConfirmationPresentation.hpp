#pragma once

#include "Tovo/Support/ButtonRole.hpp"
#include "Tovo/Support/ProcessPresentation.hpp"

#include <optional>
#include <string>

namespace tovo {

/// The sheet that stands between the user and a stop request for one process.
struct StopConfirmationContent {
    std::string name;
    std::string title;
    /// A plan is there and its method is not `unavailable`; otherwise there is
    /// nothing to confirm and the sheet only explains and closes.
    bool canConfirm;
    /// What Tovo will do (the plan's message); absent without a plan.
    std::optional<std::string> planMessage;
    /// The plan's caution, shown beside `warningSymbol`.
    std::optional<std::string> warning;
    std::string warningSymbol;
    /// Confirmable: what happens after the request.
    std::optional<std::string> explanation;
    std::string lastResortNote;
    /// "It belongs to APP. You can also close it there yourself." when an owning
    /// application can be shown.
    std::optional<std::string> ownerNote;
    /// Not confirmable: "Tovo cannot stop this process." beside `unavailableSymbol`.
    std::optional<std::string> unavailableTitle;
    std::string unavailableSymbol;
    std::optional<std::string> cancelTitle;
    std::string confirmTitle; ///< "Close" when there is nothing to confirm
    /// What confirming does, in one sentence; shown beside the buttons, not only read.
    std::optional<std::string> confirmAccessibilityHint;
    /// The last-resort note is true only when the safe release leaves this process
    /// alone: no release plan, or one the user must carry out.
    bool lastResortApplies = true;
    /// A stop can lose unsaved work: the button says so, and Return cancels.
    ButtonRole confirmRole = ButtonRole::destructive;
    bool cancelIsDefault = true;

    bool operator==(const StopConfirmationContent&) const = default;
};

namespace StopConfirmationPresentation {

/// False for a missing plan and for a plan whose method is `unavailable`.
bool hasSomethingToConfirm(const std::optional<ProcessStopPlan>& plan);

/// `releasePlan` is the process's plan in the safe release; without one the
/// last-resort note applies.
StopConfirmationContent
content(const ProcessPresentation& presentation, const BlockingProcess& process,
        const std::optional<ProcessStopPlan>& plan,
        const std::optional<ProcessReleasePlan>& releasePlan = std::nullopt);

} // namespace StopConfirmationPresentation

} // namespace tovo
