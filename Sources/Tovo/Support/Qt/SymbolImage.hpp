#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>

#include <optional>
#include <string_view>

namespace tovo {

/// Images for the system symbol names the screens use. The status marks and the
/// drive symbols are drawn here in the colour that carries their meaning (and need
/// no icon theme or image decoder at start-up); the others come from the freedesktop
/// icon theme, and are drawn as a question mark on a disc when the theme lacks them.
namespace SymbolImage {

/// A square pixmap of `size` logical pixels for the device pixel ratio `scale`.
QPixmap pixmap(std::string_view symbol, int size, const QColor& tint, qreal scale = 1.0);
/// The theme icon behind `symbol`; null when the theme has none.
QIcon themeIcon(std::string_view symbol);
/// True for the symbols drawn in code rather than taken from the theme.
bool isDrawn(std::string_view symbol);

} // namespace SymbolImage

} // namespace tovo
