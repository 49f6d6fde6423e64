#include "Tovo/Support/StatusPresentation.hpp"

#include "Tovo/Support/Typography.hpp"

#include <algorithm>

namespace tovo::StatusPresentation {

namespace {

// "Checking “NAME”…" with a selected disk, "Checking disk…" without.
std::string busyTitle(std::string_view verb, const std::optional<ExternalDisk>& disk) {
    if (disk) {
        return std::string(verb) + " " + curlyQuoted(disk->displayName) + ellipsis;
    }
    return std::string(verb) + " disk" + ellipsis;
}

StatusContent busy(std::string title, std::string message) {
    return StatusContent{StatusViewKind::busy, std::move(title), std::move(message), std::nullopt,
                         std::nullopt};
}

} // namespace

std::string blockedTitle(std::size_t blockerCount, std::size_t causeCount) {
    if (causeCount > 0) {
        const auto count = blockerCount + causeCount;
        return count == 1 ? std::string("One thing keeps this disk busy")
                          : std::to_string(count) + " things keep this disk busy";
    }
    if (blockerCount == 1) {
        return "One app or service is using this disk";
    }
    return std::to_string(blockerCount) + " apps or services are using this disk";
}

std::string blockedMessage(const std::vector<ProcessReleasePlan>& releasePlans,
                           const std::vector<BusyCause>& causes) {
    const bool canAsk =
        std::any_of(releasePlans.begin(), releasePlans.end(), [](const ProcessReleasePlan& plan) {
            return plan.strategy == ReleaseStrategy::quitApplication;
        });
    const bool canRelease = std::any_of(causes.begin(), causes.end(), [](const BusyCause& cause) {
        return cause.plan.action != BusyCauseAction::none;
    });
    if (canRelease) {
        return "Review what Tovo can release before you continue.";
    }
    return canAsk ? "Review what Tovo can quit before you continue."
                  : "Follow the steps below, then check again.";
}

StatusContent content(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                      const std::vector<BlockingProcess>& blockers,
                      const std::vector<ProcessReleasePlan>& releasePlans,
                      const std::vector<BusyCause>& causes) {
    if (phase.is<EjectionPhase::Ready>()) {
        if (disk) {
            return StatusContent{StatusViewKind::ready, "Ready to eject",
                                 "Tovo will try the system's normal eject first.",
                                 "checkmark.shield.fill", std::nullopt};
        }
        return StatusContent{StatusViewKind::emptyDisks, "No external disks",
                             "Connect a disk to get started.", "externaldrive.badge.questionmark",
                             std::nullopt};
    }
    if (phase.is<EjectionPhase::Ejecting>()) {
        return busy(busyTitle("Checking", disk), "Trying a normal eject first.");
    }
    if (phase.is<EjectionPhase::Diagnosing>()) {
        return busy(std::string("Finding what is in the way") + ellipsis,
                    "Checking which apps and services have files open.");
    }
    if (phase.is<EjectionPhase::Blocked>()) {
        return StatusContent{StatusViewKind::blocked, blockedTitle(blockers.size(), causes.size()),
                             blockedMessage(releasePlans, causes), "exclamationmark.triangle.fill",
                             SymbolColor::orange};
    }
    if (phase.is<EjectionPhase::Releasing>()) {
        return busy(busyTitle("Releasing", disk), "Asking eligible apps to quit.");
    }
    if (phase.is<EjectionPhase::Retrying>()) {
        return busy(busyTitle("Ejecting", disk), "The blockers are gone.");
    }
    if (const auto* stopping = phase.getIf<EjectionPhase::Stopping>()) {
        return busy("Stopping " + curlyQuoted(stopping->name) + ellipsis,
                    "Waiting for it to release the disk.");
    }
    if (const auto* ejected = phase.getIf<EjectionPhase::Ejected>()) {
        return StatusContent{StatusViewKind::success, "Ejected safely",
                             "You can unplug " + curlyQuoted(ejected->name) + ".",
                             "checkmark.circle.fill", SymbolColor::green};
    }
    const auto& failed = *phase.getIf<EjectionPhase::Failed>();
    return StatusContent{StatusViewKind::failure, failed.title, failed.message,
                         "xmark.octagon.fill", SymbolColor::red};
}

StatusContent windowContent(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                            const std::vector<BlockingProcess>& blockers,
                            const std::vector<ProcessReleasePlan>& releasePlans,
                            const std::vector<BusyCause>& causes, bool hasListedDisks) {
    if (!hasListedDisks && phase.is<EjectionPhase::Ready>() && !disk) {
        return busy(std::string("Looking for disks") + ellipsis, "");
    }
    return content(phase, disk, blockers, releasePlans, causes);
}

std::string accessibleSummary(const StatusContent& content) {
    if (content.message.empty()) {
        return content.title;
    }
    // A title that ends in its own mark ("…", "?") needs no full stop after it.
    const std::string& title = content.title;
    const bool marked = title.ends_with('.') || title.ends_with('?') || title.ends_with('!') ||
                        title.ends_with(ellipsis);
    return title + (marked ? " " : ". ") + content.message;
}

} // namespace tovo::StatusPresentation
