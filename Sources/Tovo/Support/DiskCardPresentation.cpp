#include "Tovo/Support/DiskCardPresentation.hpp"

#include "Tovo/Support/ByteCountFormat.hpp"
#include "Tovo/Support/Typography.hpp"

#include <vector>

namespace tovo::DiskCardPresentation {

std::string detailText(const ExternalDisk& disk) {
    std::vector<std::string> parts;
    if (const auto total = disk.totalCapacity()) {
        parts.push_back(formatByteCount(*total));
    }
    if (auto summary = disk.formatSummary(); !summary.empty()) {
        parts.push_back(std::move(summary));
    }
    const std::string separator = std::string(" ") + middleDot + " ";
    std::string text;
    for (const auto& part : parts) {
        text += text.empty() ? part : separator + part;
    }
    return text;
}

std::string diskCountAccessibilityLabel(std::size_t count) {
    if (count == 1) {
        return "One connected external disk";
    }
    return std::to_string(count) + " connected external disks";
}

GridColumns gridColumns(std::size_t diskCount) {
    if (diskCount == 1) {
        return GridColumns{1, 10, cardSpacing};
    }
    return GridColumns{2, 176, cardSpacing};
}

std::string selectionSymbol(bool isSelected) {
    return isSelected ? "checkmark.circle.fill" : "circle";
}

SymbolColor selectionSymbolColor(bool isSelected, bool isEnabled) {
    return isSelected && isEnabled ? SymbolColor::accent : SymbolColor::secondary;
}

std::string cardTooltip(const std::string& name, bool isSelected, bool nameIsElided) {
    std::string tooltip = nameIsElided ? name : std::string();
    if (isSelected) {
        tooltip += (tooltip.empty() ? "" : "\n") + std::string(selectedTooltip);
    }
    return tooltip;
}

} // namespace tovo::DiskCardPresentation
