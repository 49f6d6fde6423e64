#include "Tovo/Support/StopConfirmationPresentation.hpp"

#include "Tovo/Support/Typography.hpp"

namespace tovo::StopConfirmationPresentation {

bool hasSomethingToConfirm(const std::optional<ProcessStopPlan>& plan) {
    return plan && plan->method != StopMethod::unavailable;
}

StopConfirmationContent content(const ProcessPresentation& presentation,
                                const BlockingProcess& process,
                                const std::optional<ProcessStopPlan>& plan,
                                const std::optional<ProcessReleasePlan>& releasePlan) {
    const auto name = presentation.name(process);
    const bool canConfirm = hasSomethingToConfirm(plan);
    std::optional<std::string> ownerNote;
    if (const auto application = presentation.showableApplication(process);
        application && application->localizedName && !application->localizedName->empty()) {
        ownerNote = "It belongs to " + *application->localizedName +
                    ". You can also close it there yourself.";
    }
    return StopConfirmationContent{
        name,
        "Stop " + curlyQuoted(name) + "?",
        canConfirm,
        plan ? std::optional(plan->message) : std::nullopt,
        plan ? plan->warning : std::nullopt,
        "exclamationmark.triangle.fill",
        canConfirm ? std::optional<std::string>(
                         "Tovo sends one request and waits. If the process ignores it, the disk "
                         "stays mounted and Tovo shows what is still open. Tovo never forces a "
                         "kill.")
                   : std::nullopt,
        "Last resort. Safely Tovo does not close this one on its own.",
        std::move(ownerNote),
        canConfirm ? std::nullopt : std::optional<std::string>("Tovo cannot stop this process."),
        "xmark.octagon.fill",
        canConfirm ? std::optional<std::string>("Cancel") : std::nullopt,
        canConfirm ? "Send Stop Request" : "Close",
        canConfirm
            ? std::optional("Sends one stop request to " + name + ", then rechecks the disk.")
            : std::nullopt,
        !releasePlan || releasePlan->strategy != ReleaseStrategy::quitApplication,
        canConfirm ? ButtonRole::destructive : ButtonRole::plain,
        canConfirm};
}

} // namespace tovo::StopConfirmationPresentation
