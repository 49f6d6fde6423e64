#include "TovoSystem/Linux/MountInfo.hpp"

#include <charconv>
#include <fstream>
#include <iterator>
#include <optional>

namespace tovo {

namespace {

bool isOctal(char c) {
    return c >= '0' && c <= '7';
}

std::vector<std::string_view> fields(std::string_view line) {
    std::vector<std::string_view> result;
    std::size_t start = 0;
    while (start < line.size()) {
        while (start < line.size() && line[start] == ' ') {
            ++start;
        }
        if (start >= line.size()) {
            break;
        }
        auto end = line.find(' ', start);
        if (end == std::string_view::npos) {
            end = line.size();
        }
        result.push_back(line.substr(start, end - start));
        start = end;
    }
    return result;
}

template<class Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

bool hasOption(std::string_view options, std::string_view wanted) {
    while (!options.empty()) {
        const auto comma = options.find(',');
        if (options.substr(0, comma) == wanted) {
            return true;
        }
        if (comma == std::string_view::npos) {
            break;
        }
        options.remove_prefix(comma + 1);
    }
    return false;
}

std::optional<MountEntry> parseLine(std::string_view line) {
    const auto parts = fields(line);
    // Six fixed fields, optional fields, "-", then type, source and super options.
    std::size_t separator = 6;
    while (separator < parts.size() && parts[separator] != "-") {
        ++separator;
    }
    if (separator + 2 >= parts.size()) {
        return std::nullopt;
    }
    const auto mountID = number<int>(parts[0]);
    const auto parentID = number<int>(parts[1]);
    const auto colon = parts[2].find(':');
    if (!mountID || !parentID || colon == std::string_view::npos) {
        return std::nullopt;
    }
    const auto major = number<unsigned>(parts[2].substr(0, colon));
    const auto minor = number<unsigned>(parts[2].substr(colon + 1));
    if (!major || !minor) {
        return std::nullopt;
    }
    const auto superOptions =
        separator + 3 < parts.size() ? MountInfo::decode(parts[separator + 3]) : std::string();
    return MountEntry{*mountID,
                      *parentID,
                      *major,
                      *minor,
                      MountInfo::decode(parts[3]),
                      MountInfo::decode(parts[4]),
                      std::string(parts[5]),
                      MountInfo::decode(parts[separator + 1]),
                      MountInfo::decode(parts[separator + 2]),
                      superOptions};
}

} // namespace

bool MountEntry::isReadOnly() const {
    return hasOption(mountOptions, "ro") || hasOption(superOptions, "ro");
}

std::string MountInfo::decode(std::string_view field) {
    std::string text;
    text.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) &&
            isOctal(field[i + 2]) && isOctal(field[i + 3])) {
            const int value =
                (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            if (value <= 0xFF) {
                text.push_back(static_cast<char>(value));
                i += 3;
                continue;
            }
        }
        text.push_back(field[i]);
    }
    return text;
}

std::vector<MountEntry> MountInfo::parse(std::string_view text) {
    std::vector<MountEntry> entries;
    while (!text.empty()) {
        const auto newline = text.find('\n');
        const auto line = text.substr(0, newline);
        if (auto entry = parseLine(line)) {
            entries.push_back(std::move(*entry));
        }
        if (newline == std::string_view::npos) {
            break;
        }
        text.remove_prefix(newline + 1);
    }
    return entries;
}

std::vector<MountEntry> MountInfo::read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {};
    }
    const std::string text((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    return parse(text);
}

} // namespace tovo
