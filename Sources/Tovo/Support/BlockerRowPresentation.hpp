#pragma once

#include "Tovo/Support/ProcessPresentation.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// The row's button that brings the owning application to the front.
struct ShowApplicationAction {
    std::int32_t applicationPID; ///< for ApplicationRegistry::activate
    std::string title;
    std::string help;
    std::string accessibilityLabel;

    bool operator==(const ShowApplicationAction&) const = default;
};

/// The row's last-resort stop button.
struct StopProcessAction {
    std::string title;
    std::string help;
    std::string accessibilityHint;

    bool operator==(const StopProcessAction&) const = default;
};

/// Everything one blocker's row shows.
struct BlockerRowContent {
    std::int32_t processID;
    std::string name;
    std::string fallbackSymbol;
    std::string activity;
    std::string statusSymbol;
    SymbolColor statusSymbolColor;
    /// The attempt's message when there is one, else the plan's; absent with neither.
    std::optional<std::string> message;
    TextColor messageColor;
    std::string showDetailsLabel;
    std::string hideDetailsLabel;
    /// The open files' labels, or the one line saying none were reported.
    std::vector<std::string> detailLines;
    std::optional<ShowApplicationAction> showAction;
    std::optional<StopProcessAction> stopAction;
};

/// The first release plan for `pid`.
std::optional<ProcessReleasePlan> releasePlanFor(std::int32_t pid,
                                                 const std::vector<ProcessReleasePlan>& plans);
/// The first stop plan for `pid`.
std::optional<ProcessStopPlan> stopPlanFor(std::int32_t pid,
                                           const std::vector<ProcessStopPlan>& plans);
/// The latest (last recorded) attempt for `pid`.
std::optional<ReleaseAttempt> latestAttemptFor(std::int32_t pid,
                                               const std::vector<ReleaseAttempt>& attempts);

/// "Show details for NAME" / "Hide details for NAME".
std::string showDetailsLabel(const std::string& name);
std::string hideDetailsLabel(const std::string& name);

/// The row of `process`. The stop action is offered only when a stop plan can be
/// confirmed (present and not `unavailable`): anything else has nothing to confirm.
BlockerRowContent blockerRowContent(const ProcessPresentation& presentation,
                                    const BlockingProcess& process,
                                    const std::optional<ProcessReleasePlan>& releasePlan,
                                    const std::optional<ProcessStopPlan>& stopPlan,
                                    const std::optional<ReleaseAttempt>& releaseAttempt);

/// One row per blocker, in order, each with its own plans and latest attempt.
std::vector<BlockerRowContent> blockerRows(const ProcessPresentation& presentation,
                                           const std::vector<BlockingProcess>& blockers,
                                           const std::vector<ProcessReleasePlan>& releasePlans,
                                           const std::vector<ProcessStopPlan>& stopPlans,
                                           const std::vector<ReleaseAttempt>& releaseAttempts);

} // namespace tovo
