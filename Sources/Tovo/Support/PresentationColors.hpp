#pragma once

namespace tovo {

/// Colours of status symbols, named by meaning; the views pick the palette's shade.
enum class SymbolColor { green, orange, red, secondary, accent };

/// Text colours: the primary text colour, the dimmer secondary one, and the orange of
/// a caution (darkened or lightened until it reads as well as body text).
enum class TextColor { primary, secondary, caution };

} // namespace tovo
