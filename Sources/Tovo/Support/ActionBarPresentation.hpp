#pragma once

#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

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

    bool operator==(const PrimaryAction&) const = default;
};

/// The blocked phase's second button, which opens the release review.
struct SafeTovoButtonContent {
    std::string title;
    std::string accessibilityHint;

    bool operator==(const SafeTovoButtonContent&) const = default;
};

struct ActionBarContent {
    PrimaryAction primary;
    std::optional<SafeTovoButtonContent> safeAction;

    bool operator==(const ActionBarContent&) const = default;
};

namespace ActionBarPresentation {

/// The buttons for the phase. While an operation runs (ejecting, diagnosing,
/// releasing, retrying, stopping) the bar keeps a disabled Eject button, so it
/// does not jump and nothing can start twice; the panel above shows the progress.
ActionBarContent content(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                         const std::vector<ProcessReleasePlan>& releasePlans);

/// "Check whether NAME can eject", or "Check the disk again" with no disk.
std::string checkAgainAccessibilityLabel(const std::optional<ExternalDisk>& disk);
/// "Safely eject NAME", or "Safely eject disk" without a name.
std::string safeTovoButtonTitle(const std::optional<std::string>& diskName);

} // namespace ActionBarPresentation

} // namespace tovo
