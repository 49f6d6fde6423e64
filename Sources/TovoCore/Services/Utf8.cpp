#include "TovoCore/Services/Utf8.hpp"

#include <cstdint>
#include <cstring>

namespace tovo {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

// Length of the valid sequence starting at `i`, or 0 when it is malformed; `consumed`
// is then the length of its maximal subpart, replaced by one U+FFFD.
std::size_t validSequence(std::string_view s, std::size_t i, std::size_t& consumed) {
    const auto byte = [&](std::size_t k) { return static_cast<std::uint8_t>(s[k]); };
    const std::uint8_t lead = byte(i);
    std::size_t length = 0;
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        consumed = 1;
        return 0;
    }
    std::size_t k = 1;
    for (; k < length; ++k) {
        if (i + k >= s.size()) {
            break;
        }
        const auto next = byte(i + k);
        const auto lo = k == 1 ? low : std::uint8_t{0x80};
        const auto hi = k == 1 ? high : std::uint8_t{0xBF};
        if (next < lo || next > hi) {
            break;
        }
    }
    if (k == length) {
        consumed = length;
        return length;
    }
    consumed = k;
    return 0;
}

} // namespace

std::string decodeUtf8Lossy(std::string_view bytes) {
    std::size_t i = 0;
    // Most text is ASCII: test eight bytes at a time for a high bit.
    for (; i + 8 <= bytes.size(); i += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes.data() + i, 8);
        if (word & 0x8080808080808080ULL) {
            break;
        }
    }
    // Fast path: plain ASCII or already valid text is copied as it stands.
    while (i < bytes.size()) {
        if (static_cast<std::uint8_t>(bytes[i]) < 0x80) {
            ++i;
            continue;
        }
        std::size_t consumed = 0;
        if (validSequence(bytes, i, consumed) == 0) {
            break;
        }
        i += consumed;
    }
    if (i == bytes.size()) {
        return std::string(bytes);
    }
    std::string text(bytes.substr(0, i));
    text.reserve(bytes.size() + 8);
    while (i < bytes.size()) {
        if (static_cast<std::uint8_t>(bytes[i]) < 0x80) {
            text.push_back(bytes[i]);
            ++i;
            continue;
        }
        std::size_t consumed = 0;
        if (validSequence(bytes, i, consumed) == 0) {
            text.append(replacement);
        } else {
            text.append(bytes.substr(i, consumed));
        }
        i += consumed;
    }
    return text;
}

} // namespace tovo
