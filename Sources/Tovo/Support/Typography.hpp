#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tovo {

/// The typographic marks of user-facing text, as UTF-8.
inline constexpr const char* leftQuote = "\u201C";
inline constexpr const char* rightQuote = "\u201D";
inline constexpr const char* ellipsis = "\u2026";
inline constexpr const char* middleDot = "\u00B7";

/// “text”
inline std::string curlyQuoted(std::string_view text) {
    return std::string(leftQuote) + std::string(text) + rightQuote;
}

/// `text` cut to `maxCharacters` characters (code points), the last of them an
/// ellipsis; unchanged when it fits. Never splits a UTF-8 sequence.
std::string elided(std::string_view text, std::size_t maxCharacters);

} // namespace tovo
