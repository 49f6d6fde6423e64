#include "Tovo/Support/SymbolIcons.hpp"

#include <algorithm>
#include <array>

namespace tovo {

namespace {

constexpr std::array<SymbolIcon, 16> table{{
    {"checkmark.shield.fill", "security-high"},
    {"exclamationmark.shield.fill", "security-low"},
    {"externaldrive.badge.questionmark", "drive-harddisk"},
    {"externaldrive.fill", "drive-removable-media"},
    {"exclamationmark.triangle.fill", "dialog-warning"},
    {"checkmark.circle.fill", "emblem-ok-symbolic"},
    {"xmark.octagon.fill", "process-stop"},
    {"arrow.clockwise", "view-refresh"},
    {"circle", "radio-symbolic"},
    {"arrow.right.circle.fill", "go-next"},
    {"exclamationmark.circle.fill", "emblem-important"},
    {"xmark.circle.fill", "dialog-error"},
    {"shippingbox.fill", "package-x-generic"},
    {"magnifyingglass", "system-search"},
    {"terminal.fill", "utilities-terminal"},
    {"app.fill", "application-x-executable"},
}};

} // namespace

std::span<const SymbolIcon> symbolIconTable() {
    return table;
}

std::string_view themeIconName(std::string_view symbol) {
    const auto found = std::find_if(table.begin(), table.end(), [symbol](const SymbolIcon& icon) {
        return icon.symbol == symbol;
    });
    return found == table.end() ? std::string_view("image-missing") : found->themeIcon;
}

bool hasThemeIcon(std::string_view symbol) {
    return std::any_of(table.begin(), table.end(),
                       [symbol](const SymbolIcon& icon) { return icon.symbol == symbol; });
}

} // namespace tovo
