#include "TovoSystem/Services/LsofWarningFilter.hpp"

#include <algorithm>
#include <iterator>

namespace tovo {

namespace {

constexpr std::string_view statWarning = "lsof: WARNING: can't stat() ";
constexpr std::string_view fileSystemWord = " file system ";
constexpr std::string_view assumedDevice = "lsof: assuming dev=";

/// The length of the well-formed UTF-8 sequence at `at` that encodes a printable
/// character (not a C1 control), or 0.
std::size_t printableSequenceLength(std::string_view bytes, std::size_t at) {
    const auto lead = static_cast<unsigned char>(bytes[at]);
    std::size_t length = 0;
    char32_t codePoint = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        codePoint = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        codePoint = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        codePoint = lead & 0x07;
    } else {
        return 0;
    }
    if (at + length > bytes.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(bytes[at + i]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        codePoint = (codePoint << 6) | (next & 0x3F);
    }
    const bool overlong =
        (length == 3 && codePoint < 0x800) || (length == 4 && codePoint < 0x10000);
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (overlong || surrogate || codePoint > 0x10FFFF || codePoint < 0xA0) {
        return 0;
    }
    return length;
}

std::string rendering(std::string_view path, bool utf8Locale) {
    static constexpr char hex[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < path.size(); ++i) {
        const auto byte = static_cast<unsigned char>(path[i]);
        if (byte >= 0x80 && utf8Locale) {
            if (const auto length = printableSequenceLength(path, i)) {
                text.append(path.substr(i, length));
                i += length - 1;
                continue;
            }
        }
        switch (byte) {
        case '\\':
            text += "\\\\";
            continue;
        case '\n':
            text += "\\n";
            continue;
        case '\t':
            text += "\\t";
            continue;
        case '\r':
            text += "\\r";
            continue;
        case '\b':
            text += "\\b";
            continue;
        case '\f':
            text += "\\f";
            continue;
        default:
            break;
        }
        if (byte < 0x20) {
            text += '^';
            text += static_cast<char>(byte + 0x40);
        } else if (byte >= 0x7F) {
            text += "\\x";
            text += hex[byte >> 4];
            text += hex[byte & 0xF];
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text;
}

bool isContinuation(std::string_view line) {
    return !line.empty() && (line.front() == ' ' || line.front() == '\t');
}

} // namespace

LsofWarningFilter::LsofWarningFilter(std::string_view mountPath)
    : mountRenderings_(renderings(mountPath)) {}

LsofWarningFilter::LsofWarningFilter(const std::vector<std::string>& mountPaths) {
    for (const auto& path : mountPaths) {
        std::ranges::move(renderings(path), std::back_inserter(mountRenderings_));
    }
}

std::vector<std::string> LsofWarningFilter::renderings(std::string_view path) {
    std::vector<std::string> result{rendering(path, true)};
    if (auto plain = rendering(path, false); plain != result.front()) {
        result.push_back(std::move(plain));
    }
    return result;
}

std::optional<std::string_view> LsofWarningFilter::namedPath(std::string_view line) {
    if (line.starts_with(statWarning)) {
        // The type has no blanks; the path runs to the end of the line.
        const auto word = line.find(fileSystemWord, statWarning.size());
        if (word == std::string_view::npos) {
            return std::nullopt;
        }
        return line.substr(word + fileSystemWord.size());
    }
    if (line.starts_with(assumedDevice)) {
        // "lsof: assuming dev=%#lx for PATH from TABLE"
        const auto start = line.find(" for ", assumedDevice.size());
        const auto end = line.rfind(" from ");
        if (start == std::string_view::npos || end == std::string_view::npos || end < start + 5) {
            return std::nullopt;
        }
        return line.substr(start + 5, end - start - 5);
    }
    return std::nullopt;
}

bool LsofWarningFilter::namesMount(std::string_view path) const {
    return std::ranges::find(mountRenderings_, path) != mountRenderings_.end();
}

std::string LsofWarningFilter::filtered(std::string_view standardError) const {
    std::string kept;
    bool droppingContinuations = false;
    while (!standardError.empty()) {
        const auto newline = standardError.find('\n');
        const auto length = newline == std::string_view::npos ? standardError.size() : newline + 1;
        const auto line = standardError.substr(0, length);
        standardError.remove_prefix(length);
        auto text = line;
        if (text.ends_with('\n')) {
            text.remove_suffix(1);
        }

        if (droppingContinuations && isContinuation(text)) {
            continue;
        }
        const auto named = namedPath(text);
        droppingContinuations = named && !namesMount(*named);
        if (!droppingContinuations) {
            kept.append(line);
        }
    }
    return kept;
}

} // namespace tovo
