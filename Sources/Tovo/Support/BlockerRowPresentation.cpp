#include "Tovo/Support/BlockerRowPresentation.hpp"

#include "Tovo/Support/ReadableText.hpp"
#include "Tovo/Support/Typography.hpp"

#include <algorithm>

namespace tovo {

std::optional<ProcessReleasePlan> releasePlanFor(std::int32_t pid,
                                                 const std::vector<ProcessReleasePlan>& plans) {
    const auto found = std::find_if(plans.begin(), plans.end(),
                                    [pid](const auto& plan) { return plan.processID == pid; });
    return found == plans.end() ? std::nullopt : std::optional(*found);
}

std::optional<ProcessStopPlan> stopPlanFor(std::int32_t pid,
                                           const std::vector<ProcessStopPlan>& plans) {
    const auto found = std::find_if(plans.begin(), plans.end(),
                                    [pid](const auto& plan) { return plan.processID == pid; });
    return found == plans.end() ? std::nullopt : std::optional(*found);
}

std::optional<ReleaseAttempt> latestAttemptFor(std::int32_t pid,
                                               const std::vector<ReleaseAttempt>& attempts) {
    const auto found = std::find_if(attempts.rbegin(), attempts.rend(), [pid](const auto& attempt) {
        return attempt.processID == pid;
    });
    return found == attempts.rend() ? std::nullopt : std::optional(*found);
}

std::string showDetailsLabel(const std::string& name) {
    return "Show details for " + name;
}
std::string hideDetailsLabel(const std::string& name) {
    return "Hide details for " + name;
}

BlockerRowContent blockerRowContent(const ProcessPresentation& presentation,
                                    const BlockingProcess& process,
                                    const std::optional<ProcessReleasePlan>& releasePlan,
                                    const std::optional<ProcessStopPlan>& stopPlan,
                                    const std::optional<ReleaseAttempt>& releaseAttempt) {
    const auto name = presentation.name(process);
    std::optional<std::string> message;
    if (releaseAttempt) {
        message = releaseAttempt->message;
    } else if (releasePlan) {
        message = releasePlan->message;
    }
    std::vector<std::string> detailLines;
    for (auto file : process.openFiles) {
        file.path = ReadableText::fromLsof(file.path);
        detailLines.push_back(ProcessPresentation::label(file));
    }
    if (detailLines.empty()) {
        detailLines.emplace_back("No open paths were reported.");
    }
    std::optional<ShowApplicationAction> showAction;
    if (const auto application = presentation.showableApplication(process)) {
        const auto applicationName = application->localizedName.value_or(name);
        showAction = ShowApplicationAction{
            application->pid, "Show " + elided(applicationName, 20),
            "Brings the app to the front. Tovo does not close it.",
            "Brings " + applicationName +
                " to the front so you can close the window or change its folder"};
    }
    std::optional<StopProcessAction> stopAction;
    if (stopPlan && stopPlan->method != StopMethod::unavailable) {
        stopAction = StopProcessAction{
            "Stop",
            "Last resort: Tovo asks for a review, then sends one stop request. It never forces a "
            "kill.",
            "Opens a review before Tovo sends one stop request to this process."};
    }
    return BlockerRowContent{process.pid,
                             name,
                             ProcessPresentation::fallbackSymbol(process),
                             ProcessPresentation::activity(process),
                             ProcessPresentation::statusSymbol(releasePlan, releaseAttempt),
                             ProcessPresentation::statusSymbolColor(releasePlan, releaseAttempt),
                             std::move(message),
                             ProcessPresentation::messageColor(releasePlan, releaseAttempt),
                             showDetailsLabel(name),
                             hideDetailsLabel(name),
                             std::move(detailLines),
                             std::move(showAction),
                             std::move(stopAction)};
}

std::vector<BlockerRowContent> blockerRows(const ProcessPresentation& presentation,
                                           const std::vector<BlockingProcess>& blockers,
                                           const std::vector<ProcessReleasePlan>& releasePlans,
                                           const std::vector<ProcessStopPlan>& stopPlans,
                                           const std::vector<ReleaseAttempt>& releaseAttempts) {
    std::vector<BlockerRowContent> rows;
    rows.reserve(blockers.size());
    for (const auto& process : blockers) {
        rows.push_back(blockerRowContent(
            presentation, process, releasePlanFor(process.pid, releasePlans),
            stopPlanFor(process.pid, stopPlans), latestAttemptFor(process.pid, releaseAttempts)));
    }
    return rows;
}

} // namespace tovo
