#pragma once

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

} // namespace tovo
