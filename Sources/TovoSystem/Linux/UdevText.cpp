#include "TovoSystem/Linux/UdevText.hpp"

namespace tovo::UdevText {

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

} // namespace

std::string decode(std::string_view encoded) {
    std::string text;
    text.reserve(encoded.size());
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        if (encoded[i] == '\\' && i + 3 < encoded.size() && encoded[i + 1] == 'x') {
            const int high = hexValue(encoded[i + 2]);
            const int low = hexValue(encoded[i + 3]);
            if (high >= 0 && low >= 0) {
                text.push_back(static_cast<char>(high * 16 + low));
                i += 3;
                continue;
            }
        }
        text.push_back(encoded[i]);
    }
    return text;
}

} // namespace tovo::UdevText
