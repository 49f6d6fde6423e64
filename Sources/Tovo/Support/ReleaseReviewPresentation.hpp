#pragma once

#include "Tovo/Support/ButtonRole.hpp"
#include "Tovo/Support/ProcessPresentation.hpp"
#include "TovoCore/Models/BusyCause.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// One blocker in the release review.
struct ReleaseReviewEntry {
    std::int32_t processID;
    std::string name;
    std::string symbol;
    std::string message;
    std::string showDetailsLabel;
    std::string hideDetailsLabel;

    bool operator==(const ReleaseReviewEntry&) const = default;
};

/// One cause besides the processes in the release review.
struct CauseReviewEntry {
    std::string key;
    std::string title;
    std::string symbol;
    std::string sentence;
    std::string message; ///< what Tovo will do, or what the user must do
    bool tovoActs;

    bool operator==(const CauseReviewEntry&) const = default;
};

/// The sheet that stands between the user and any quit request or cause action.
struct ReleaseReviewContent {
    std::size_t eligibleCount;
    std::size_t remainingCount;
    std::string title;
    std::string message;
    std::string headerSymbol;
    std::string subline;
    std::vector<ReleaseReviewEntry> entries;
    /// With eligible plans: Cancel and a confirm button. Without: only a close
    /// button, `confirmTitle`, which dismisses the sheet and confirms nothing.
    bool canConfirm;
    std::optional<std::string> cancelTitle;
    std::string confirmTitle;
    std::optional<std::string> confirmAccessibilityHint;
    /// The causes besides the processes; those Tovo acts on count as eligible.
    std::vector<CauseReviewEntry> causeEntries = {};
    /// The confirm button is the suggested action, the default and focused; the
    /// lone close button is a plain one.
    ButtonRole confirmRole = ButtonRole::suggested;

    bool operator==(const ReleaseReviewContent&) const = default;
};

namespace ReleaseReviewPresentation {

/// The plans Tovo may act on: strategy quitApplication.
std::size_t eligiblePlanCount(const std::vector<ProcessReleasePlan>& releasePlans);
std::string confirmationTitle(const ExternalDisk& disk, std::size_t eligible);
std::string confirmationMessage(std::size_t eligible, std::size_t remaining);

/// The review of `blockers` and `causes` on `disk`. Remaining blockers are the
/// blockers minus the eligible plans; more eligible plans than blockers is a program
/// fault. Without causes the review is exactly the processes' review.
ReleaseReviewContent content(const ProcessPresentation& presentation, const ExternalDisk& disk,
                             const std::vector<BlockingProcess>& blockers,
                             const std::vector<ProcessReleasePlan>& releasePlans,
                             const std::vector<BusyCause>& causes = {});

} // namespace ReleaseReviewPresentation

} // namespace tovo
