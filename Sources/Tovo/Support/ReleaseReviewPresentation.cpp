#include "Tovo/Support/ReleaseReviewPresentation.hpp"

#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/BusyCausePresentation.hpp"
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

namespace {

std::string countText(std::size_t count, const char* one, const char* many) {
    return count == 1 ? std::string(one) : std::to_string(count) + " " + many;
}

// The message once causes take part: what Tovo asks of apps and of the system, what
// is left to the user.
std::string messageWithCauses(std::size_t eligible, std::size_t actions, std::size_t remaining) {
    if (eligible + actions < 1) {
        return confirmationMessage(0, remaining);
    }
    std::string message;
    if (eligible > 0) {
        message += "Tovo will ask " + countText(eligible, "one app", "apps") + " to quit. ";
    }
    message += "Tovo will ask the system to release " +
               (eligible > 0 ? countText(actions, "one other use", "other uses")
                             : countText(actions, "one use", "uses")) +
               " of the disk.";
    if (remaining > 0) {
        message += remaining == 1 ? " One blocker still needs you."
                                  : " " + std::to_string(remaining) + " blockers still need you.";
    }
    return message + " It ejects only after the disk is no longer in use. It never forces "
                     "anything.";
}

} // namespace

ReleaseReviewContent content(const ProcessPresentation& presentation, const ExternalDisk& disk,
                             const std::vector<BlockingProcess>& blockers,
                             const std::vector<ProcessReleasePlan>& releasePlans,
                             const std::vector<BusyCause>& causes) {
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
    std::vector<CauseReviewEntry> causeEntries;
    std::size_t actions = 0;
    for (const auto& cause : causes) {
        const bool acts = cause.plan.action != BusyCauseAction::none;
        actions += acts ? 1 : 0;
        causeEntries.push_back(
            CauseReviewEntry{cause.key(), BusyCausePresentation::title(cause),
                             acts ? "arrow.right.circle.fill" : "exclamationmark.circle.fill",
                             BusyCausePresentation::sentence(cause), cause.plan.message, acts});
    }
    const bool canConfirm = eligible + actions >= 1;
    const bool withCauses = !causes.empty();
    return ReleaseReviewContent{
        eligible,
        remaining,
        confirmationTitle(disk, eligible + actions),
        withCauses ? messageWithCauses(eligible, actions, remaining + causes.size() - actions)
                   : confirmationMessage(eligible, remaining),
        canConfirm ? "checkmark.shield.fill" : "exclamationmark.shield.fill",
        canConfirm ? "Save your work before you continue."
                   : "Complete the steps below, then check again.",
        std::move(entries),
        canConfirm,
        canConfirm ? std::optional<std::string>("Cancel") : std::nullopt,
        !canConfirm ? "Close" : (actions > 0 ? "Release and Eject" : "Ask Apps to Quit"),
        !canConfirm ? std::nullopt
                    : std::optional<std::string>(
                          actions > 0 ? "Asks eligible apps to quit and the system to release "
                                        "the other uses, rechecks the disk, then ejects it."
                                      : "Asks eligible apps to quit, rechecks the disk, then "
                                        "ejects it."),
        std::move(causeEntries),
        canConfirm ? ButtonRole::suggested : ButtonRole::plain};
}

} // namespace tovo::ReleaseReviewPresentation
