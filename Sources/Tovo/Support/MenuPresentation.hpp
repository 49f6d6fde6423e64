#pragma once

#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <optional>
#include <string>

namespace tovo {

/// The "Disk" menu: its items, their shortcuts and when they can be chosen.
namespace MenuPresentation {

inline constexpr const char* menuTitle = "Disk";
/// The title with its access key: Alt+D opens the menu.
inline constexpr const char* menuMnemonicTitle = "&Disk";
/// Quits from anywhere in the window; the menu stays as it is.
inline constexpr const char* quitShortcut = "Ctrl+Q";
inline constexpr const char* refreshTitle = "Refresh Disks";
inline constexpr const char* refreshShortcut = "Ctrl+R";
inline constexpr const char* ejectShortcut = "Ctrl+E";
/// The window's title.
inline constexpr const char* windowTitle = "Tovo";

/// "Try Eject Again", "Check Again", "Eject NAME" or "Eject Disk".
std::string ejectCommandTitle(const EjectionPhase& phase,
                              const std::optional<ExternalDisk>& selectedDisk);
/// A disk is selected and the phase lets an eject start (ready, blocked, or a
/// failure that may be retried).
bool isEjectCommandEnabled(const EjectionPhase& phase,
                           const std::optional<ExternalDisk>& selectedDisk);
/// Ready, blocked or failed. Also off on the success screen: the result is
/// dismissed in the window before the list is read again.
bool isRefreshCommandEnabled(const EjectionPhase& phase);

} // namespace MenuPresentation

} // namespace tovo
