#include "TovoTerminal/TerminalStyle.hpp"

#include "TovoCore/Services/Utf8.hpp"

#include <array>
#include <cstdio>
#include <utility>

namespace tovo {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 8> glyphs{{
    {"arrow.right.circle.fill", "\u2192"},
    {"checkmark.circle.fill", "\u2713"},
    {"checkmark.shield.fill", "\u2713"},
    {"exclamationmark.circle.fill", "!"},
    {"exclamationmark.shield.fill", "!"},
    {"exclamationmark.triangle.fill", "!"},
    {"xmark.circle.fill", "\u2717"},
    {"xmark.octagon.fill", "\u2717"},
}};

std::string escaped(unsigned value) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "\\x%02X", value);
    return buffer;
}

} // namespace

bool TerminalStyle::wantsColour(bool isTerminal, const char* noColor, const char* term) {
    if (!isTerminal) {
        return false;
    }
    if (noColor != nullptr && noColor[0] != '\0') {
        return false;
    }
    return term == nullptr || std::string_view(term) != "dumb";
}

std::string TerminalStyle::wrap(std::string_view code, std::string_view text) const {
    if (!colour_) {
        return std::string(text);
    }
    return "\033[" + std::string(code) + "m" + std::string(text) + "\033[0m";
}

std::string TerminalStyle::paint(std::string_view text, SymbolColor color) const {
    switch (color) {
    case SymbolColor::green:
        return wrap("32", text);
    case SymbolColor::orange:
        return wrap("33", text);
    case SymbolColor::red:
        return wrap("31", text);
    case SymbolColor::secondary:
        return wrap("2", text);
    case SymbolColor::accent:
        return wrap("34", text);
    }
    return std::string(text);
}

std::string TerminalStyle::bold(std::string_view text) const {
    return wrap("1", text);
}

std::string TerminalStyle::dim(std::string_view text) const {
    return wrap("2", text);
}

std::string_view TerminalStyle::glyph(std::string_view symbolName) {
    for (const auto& [name, character] : glyphs) {
        if (name == symbolName) {
            return character;
        }
    }
    return "\u2022";
}

std::string TerminalStyle::printable(std::string_view text) {
    const auto decoded = decodeUtf8Lossy(text);
    std::string result;
    result.reserve(decoded.size());
    for (std::size_t index = 0; index < decoded.size(); ++index) {
        const auto byte = static_cast<unsigned char>(decoded[index]);
        if (byte < 0x20 || byte == 0x7F) {
            result += escaped(byte);
        } else if (byte == 0xC2 && index + 1 < decoded.size() &&
                   static_cast<unsigned char>(decoded[index + 1]) >= 0x80 &&
                   static_cast<unsigned char>(decoded[index + 1]) <= 0x9F) {
            // C1 controls (U+0080 to U+009F), which some terminals obey as escapes.
            result += escaped(static_cast<unsigned char>(decoded[++index]));
        } else {
            result += decoded[index];
        }
    }
    return result;
}

} // namespace tovo
