#pragma once

namespace tovo {

/// Colours of status symbols, named by meaning; the views pick the palette's shade.
enum class SymbolColor { green, orange, red, secondary, accent };

/// Text colours: the primary text colour or the dimmer secondary one.
enum class TextColor { primary, secondary };

} // namespace tovo
