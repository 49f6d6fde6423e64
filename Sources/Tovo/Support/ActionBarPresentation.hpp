#pragma once

#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// The primary button's job; it also says which action it calls: eject, checkAgain
/// and tryAgain call onEject, refresh calls onRefresh, done calls onReset.
enum class PrimaryActionKind { eject, checkAgain, tryAgain, refresh, done };

struct PrimaryAction {
    PrimaryActionKind kind;
    std::string title;
    std::optional<std::string> help; ///< tooltip
    std::string accessibilityLabel;
    std::optional<std::string> accessibilityHint;
    bool isEnabled;
    bool isDefaultAction; ///< bound to the default-action key (Return)
    /// False where nothing can be done: while an operation runs, and with no disk.
    bool isShown = true;

    bool operator==(const PrimaryAction&) const = default;
};

/// The blocked phase's second button, which opens the release review.
struct SafeTovoButtonContent {
    std::string title; ///< a long disk name is elided
    std::string accessibilityHint;
    std::string accessibilityLabel;  ///< the title with the whole name
    std::optional<std::string> help; ///< the whole title, when the name was elided

    bool operator==(const SafeTovoButtonContent&) const = default;
};

struct ActionBarContent {
    PrimaryAction primary;
    std::optional<SafeTovoButtonContent> safeAction;

    bool operator==(const ActionBarContent&) const = default;
};

namespace ActionBarPresentation {

/// Disk names longer than this are elided in button titles.
inline constexpr std::size_t buttonNameLimit = 20;

/// The buttons for the phase. While an operation runs (ejecting, diagnosing,
/// releasing, retrying, stopping), and with no disk, there is nothing to eject: the
/// Eject button is hidden (and disabled, so nothing can start twice) and the panel
/// above shows the progress. Return answers the one obvious next step: Eject when
/// ready, Try Again or Refresh after a failure, Done; in the blocked phase the user
/// chooses between two.
ActionBarContent content(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                         const std::vector<ProcessReleasePlan>& releasePlans);

/// "Check whether NAME can eject", or "Check the disk again" with no disk.
std::string checkAgainAccessibilityLabel(const std::optional<ExternalDisk>& disk);
/// "Safely eject NAME", or "Safely eject disk" without a name; the name elided to
/// `buttonNameLimit` characters.
std::string safeTovoButtonTitle(const std::optional<std::string>& diskName);

} // namespace ActionBarPresentation

} // namespace tovo
