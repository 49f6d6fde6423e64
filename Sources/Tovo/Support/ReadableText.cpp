#include "Tovo/Support/ReadableText.hpp"

#include "TovoCore/Services/Utf8.hpp"

#include <cstdint>
#include <optional>

namespace tovo::ReadableText {

namespace {

std::optional<int> hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return std::nullopt;
}

std::optional<char> namedEscape(char c) {
    switch (c) {
    case 'n':
        return '\n';
    case 't':
        return '\t';
    case 'r':
        return '\r';
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case '\\':
        return '\\';
    default:
        return std::nullopt;
    }
}

// The bytes lsof escaped, back as they are on disk.
std::string unescaped(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char c = text[index];
        if (c != '\\' || index + 1 == text.size()) {
            bytes += c;
            continue;
        }
        if (const auto named = namedEscape(text[index + 1])) {
            bytes += *named;
            ++index;
            continue;
        }
        if (text[index + 1] == 'x' && index + 3 < text.size()) {
            const auto high = hexDigit(text[index + 2]);
            const auto low = hexDigit(text[index + 3]);
            if (high && low) {
                bytes += static_cast<char>(*high * 16 + *low);
                index += 3;
                continue;
            }
        }
        bytes += c; // not an escape lsof writes: shown as it came
    }
    return bytes;
}

void appendUtf8(std::string& out, std::uint32_t codePoint) {
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
}

// What stands in for an invisible character, if it is one. The symbols are in the
// fonts every desktop has; the Control Pictures block mostly is not.
std::optional<std::uint32_t> visibleStandIn(std::uint32_t codePoint) {
    if (codePoint == '\n' || codePoint == '\r') {
        return 0x23CE; // ⏎
    }
    if (codePoint == '\t') {
        return 0x21E5; // ⇥
    }
    // Other controls, and the marks that reorder the text around them: a dotted box.
    if (codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F) || codePoint == 0x200E ||
        codePoint == 0x200F || (codePoint >= 0x202A && codePoint <= 0x202E) ||
        (codePoint >= 0x2066 && codePoint <= 0x2069)) {
        return 0x2B1A;
    }
    return std::nullopt;
}

} // namespace

std::string fromRaw(std::string_view text) {
    const std::string decoded = decodeUtf8Lossy(text);
    std::string readable;
    readable.reserve(decoded.size());
    for (std::size_t index = 0; index < decoded.size();) {
        const auto lead = static_cast<unsigned char>(decoded[index]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        std::uint32_t codePoint = length == 1   ? lead
                                  : length == 2 ? lead & 0x1FU
                                  : length == 3 ? lead & 0x0FU
                                                : lead & 0x07U;
        for (std::size_t k = 1; k < length && index + k < decoded.size(); ++k) {
            codePoint = (codePoint << 6) | (static_cast<unsigned char>(decoded[index + k]) & 0x3FU);
        }
        if (const auto standIn = visibleStandIn(codePoint)) {
            appendUtf8(readable, *standIn);
        } else {
            readable.append(decoded, index, length);
        }
        index += length;
    }
    return readable;
}

std::string fromLsof(std::string_view lsofText) {
    return fromRaw(unescaped(lsofText));
}

} // namespace tovo::ReadableText
