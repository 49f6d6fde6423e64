#pragma once

#include <span>
#include <string_view>

namespace tovo {

/// A system symbol name the screens use and the freedesktop icon-theme name that
/// stands for it (present in Adwaita, in colour or as a symbolic icon).
struct SymbolIcon {
    std::string_view symbol;
    std::string_view themeIcon;
};

/// Every symbol the screens use.
std::span<const SymbolIcon> symbolIconTable();
/// The theme icon for `symbol`; "image-missing" for a symbol not in the table.
std::string_view themeIconName(std::string_view symbol);
bool hasThemeIcon(std::string_view symbol);

} // namespace tovo
