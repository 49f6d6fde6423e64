#include "Tovo/Support/ActionBarPresentation.hpp"

#include "Tovo/Support/Typography.hpp"

#include <algorithm>

namespace tovo::ActionBarPresentation {

namespace {

PrimaryAction ejectAction(const std::optional<ExternalDisk>& disk, bool enabled) {
    const bool canEject = enabled && disk.has_value();
    return PrimaryAction{PrimaryActionKind::eject,
                         "Eject",
                         std::nullopt,
                         disk ? "Eject " + disk->displayName : std::string("Eject"),
                         std::nullopt,
                         canEject,
                         canEject,
                         canEject};
}

SafeTovoButtonContent safeTovoButton(const std::optional<ExternalDisk>& disk) {
    const auto name = disk ? std::optional(disk->displayName) : std::nullopt;
    const std::string title = safeTovoButtonTitle(name);
    std::string whole = name ? "Safely eject " + *name : title;
    std::optional<std::string> help;
    if (whole != title) {
        help = whole;
    }
    return SafeTovoButtonContent{title, "Opens a review before Tovo asks eligible apps to quit.",
                                 std::move(whole), std::move(help)};
}

bool hasEligiblePlan(const std::vector<ProcessReleasePlan>& plans) {
    return std::any_of(plans.begin(), plans.end(), [](const ProcessReleasePlan& plan) {
        return plan.strategy == ReleaseStrategy::quitApplication;
    });
}

} // namespace

std::string checkAgainAccessibilityLabel(const std::optional<ExternalDisk>& disk) {
    if (disk) {
        return "Check whether " + disk->displayName + " can eject";
    }
    return "Check the disk again";
}

std::string safeTovoButtonTitle(const std::optional<std::string>& diskName) {
    if (diskName) {
        return "Safely eject " + elided(*diskName, buttonNameLimit);
    }
    return "Safely eject disk";
}

ActionBarContent content(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                         const std::vector<ProcessReleasePlan>& releasePlans) {
    if (phase.is<EjectionPhase::Ready>()) {
        return {ejectAction(disk, true), std::nullopt};
    }
    if (phase.is<EjectionPhase::Blocked>()) {
        // With apps Tovo can ask to quit, checking again is about whether they let
        // go; otherwise the user follows the manual steps first.
        const auto hint = hasEligiblePlan(releasePlans)
                              ? "Checks whether the listed blockers have released the disk."
                              : "Follow the steps above, then check the disk again.";
        return {PrimaryAction{PrimaryActionKind::checkAgain, "Check Again",
                              "Check whether the disk can eject now",
                              checkAgainAccessibilityLabel(disk), hint, disk.has_value(), false},
                safeTovoButton(disk)};
    }
    if (const auto* failed = phase.getIf<EjectionPhase::Failed>()) {
        if (failed->recovery == FailureRecovery::retryEject) {
            return {PrimaryAction{PrimaryActionKind::tryAgain, "Try Again", std::nullopt,
                                  "Try Again", std::nullopt, disk.has_value(), disk.has_value()},
                    std::nullopt};
        }
        return {PrimaryAction{PrimaryActionKind::refresh, "Refresh Disks", std::nullopt,
                              "Refresh external disks", std::nullopt, true, true},
                std::nullopt};
    }
    if (phase.is<EjectionPhase::Ejected>()) {
        return {PrimaryAction{PrimaryActionKind::done, "Done", std::nullopt, "Done", std::nullopt,
                              true, true},
                std::nullopt};
    }
    return {ejectAction(disk, false), std::nullopt};
}

} // namespace tovo::ActionBarPresentation
