#pragma once

#include "Tovo/Support/PresentationColors.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <cstddef>
#include <string>

namespace tovo {

/// The columns of the disk grid: one full-width column for a single disk,
/// otherwise two of at least `minimumWidth` points each.
struct GridColumns {
    int count;
    int minimumWidth;
    int spacing;

    bool operator==(const GridColumns&) const = default;
};

/// The header and the disk selector's texts and rules.
namespace DiskCardPresentation {

inline constexpr const char* appTitle = "Tovo";
inline constexpr const char* tagline = "External disks, explained.";
inline constexpr const char* badgeSymbol = "externaldrive.fill";
inline constexpr const char* refreshSymbol = "arrow.clockwise";
inline constexpr const char* refreshLabel = "Refresh disks"; ///< tooltip and accessibility label
inline constexpr const char* selectorHeading = "External Disks";
inline constexpr const char* cardAccessibilityHint = "Select this disk";
inline constexpr const char* selectedTooltip = "Selected disk";
/// Beside the title in demo mode, so sample data is never taken for a real disk.
inline constexpr const char* demoBadge = "Demo";
/// Every card shows the removable-drive symbol, drawn like the app's own badge: the
/// theme's file-system icons are in another style, and an external disk is what
/// the card is about.
inline constexpr const char* fallbackDiskSymbol = "externaldrive.fill";
inline constexpr int cardSpacing = 10;

/// The total size in the file style, then the format summary, joined by " · ";
/// a missing part is left out with its separator.
std::string detailText(const ExternalDisk& disk);
/// "One connected external disk", or "N connected external disks".
std::string diskCountAccessibilityLabel(std::size_t count);
GridColumns gridColumns(std::size_t diskCount);
/// "checkmark.circle.fill" when selected, else "circle".
std::string selectionSymbol(bool isSelected);
/// The accent marks the selected disk; a dimmed card (while Tovo works) keeps its
/// mark in the secondary colour, as bright as nothing else on it.
SymbolColor selectionSymbolColor(bool isSelected, bool isEnabled = true);
/// The card's tooltip: the whole name when the card had to shorten it, and
/// "Selected disk" on the selected card; empty when there is nothing to add.
std::string cardTooltip(const std::string& name, bool isSelected, bool nameIsElided);

} // namespace DiskCardPresentation

} // namespace tovo
