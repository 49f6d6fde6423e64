#include "Tovo/Support/ReleaseReviewPresentation.hpp"

#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/Typography.hpp"
#include "TovoCore/Models/CheckedArithmetic.hpp"

#include <algorithm>

namespace tovo::ReleaseReviewPresentation {

std::size_t eligiblePlanCount(const std::vector<ProcessReleasePlan>& releasePlans) {
    return static_cast<std::size_t>(
        std::count_if(releasePlans.begin(), releasePlans.end(), [](const auto& plan) {
            return plan.strategy == ReleaseStrategy::quitApplication;
        }));
}

std::string confirmationTitle(const ExternalDisk& disk, std::size_t eligible) {
    if (eligible < 1) {
        return curlyQuoted(disk.displayName) + " still needs attention";
    }
    return "Safely eject " + curlyQuoted(disk.displayName) + "?";
}

std::string confirmationMessage(std::size_t eligible, std::size_t remaining) {
    if (eligible < 1) {
        return "Tovo cannot close these blockers. The disk stays mounted until every blocker "
               "releases it.";
    }
    std::string message = "Tovo will ask ";
    if (eligible == 1) {
        message += "one app";
    } else {
        message.append(std::to_string(eligible)).append(" apps");
    }
    message += " to quit.";
    if (remaining == 1) {
        message += " One blocker still needs you.";
    } else if (remaining > 1) {
        message.append(" ").append(std::to_string(remaining)).append(" blockers still need you.");
    }
    message += " It ejects only after the disk is no longer in use. It never force quits.";
    return message;
}

ReleaseReviewContent content(const ProcessPresentation& presentation, const ExternalDisk& disk,
                             const std::vector<BlockingProcess>& blockers,
                             const std::vector<ProcessReleasePlan>& releasePlans) {
    const auto eligible = eligiblePlanCount(releasePlans);
    const auto remaining = checkedSubtract(blockers.size(), eligible);
    std::vector<ReleaseReviewEntry> entries;
    entries.reserve(blockers.size());
    for (const auto& process : blockers) {
        const auto plan = releasePlanFor(process.pid, releasePlans);
        const auto name = presentation.name(process);
        const bool quits = plan && plan->strategy == ReleaseStrategy::quitApplication;
        entries.push_back(ReleaseReviewEntry{
            process.pid, name, quits ? "arrow.right.circle.fill" : "exclamationmark.circle.fill",
            plan ? plan->message : "Review this item before you continue.", showDetailsLabel(name),
            hideDetailsLabel(name)});
    }
    const bool canConfirm = eligible >= 1;
    return ReleaseReviewContent{
        eligible,
        remaining,
        confirmationTitle(disk, eligible),
        confirmationMessage(eligible, remaining),
        canConfirm ? "checkmark.shield.fill" : "exclamationmark.shield.fill",
        canConfirm ? "Save your work before you continue."
                   : "Complete the steps below, then check again.",
        std::move(entries),
        canConfirm,
        canConfirm ? std::optional<std::string>("Cancel") : std::nullopt,
        canConfirm ? "Ask Apps to Quit" : "Close",
        canConfirm ? std::optional<std::string>(
                         "Asks eligible apps to quit, rechecks the disk, then ejects it.")
                   : std::nullopt};
}

} // namespace tovo::ReleaseReviewPresentation
