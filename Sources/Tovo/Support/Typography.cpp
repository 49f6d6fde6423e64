#include "Tovo/Support/Typography.hpp"

namespace tovo {

namespace {

bool isContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

std::string elided(std::string_view text, std::size_t maxCharacters) {
    if (maxCharacters == 0) {
        return {};
    }
    std::size_t characters = 0;
    std::size_t keep = 0; // bytes of the first maxCharacters - 1 characters
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (isContinuationByte(text[index])) {
            continue;
        }
        if (characters == maxCharacters - 1) {
            keep = index;
        }
        if (++characters > maxCharacters) {
            // Trailing blanks before the ellipsis would read as a gap.
            while (keep > 0 && text[keep - 1] == ' ') {
                --keep;
            }
            return std::string(text.substr(0, keep)) + ellipsis;
        }
    }
    return std::string(text);
}

} // namespace tovo
