#include "TovoSystem/Linux/DesktopEntry.hpp"

#include "TovoSystem/Linux/BoundedFile.hpp"

namespace tovo {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t\r");
    return text.substr(first, last + 1 - first);
}

std::string unescaped(std::string_view raw) {
    std::string result;
    result.reserve(raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] != '\\' || i + 1 == raw.size()) {
            result.push_back(raw[i]);
            continue;
        }
        switch (raw[++i]) {
        case 's':
            result.push_back(' ');
            break;
        case 'n':
            result.push_back('\n');
            break;
        case 't':
            result.push_back('\t');
            break;
        case 'r':
            result.push_back('\r');
            break;
        case '\\':
            result.push_back('\\');
            break;
        default: // not an escape this format knows: keep it as written
            result.push_back('\\');
            result.push_back(raw[i]);
        }
    }
    return result;
}

// A file's id is its path below applications/ with '/' turned into '-', so
// "foo-bar" may be foo-bar.desktop or foo/bar.desktop (or deeper); a flat file
// wins over one in a folder.
std::optional<std::filesystem::path> locateIn(const std::filesystem::path& directory,
                                              std::string_view id) {
    std::error_code error;
    auto flat = directory / (std::string(id) + ".desktop");
    if (std::filesystem::is_regular_file(flat, error)) {
        return flat;
    }
    for (auto dash = id.find('-'); dash != std::string_view::npos; dash = id.find('-', dash + 1)) {
        const auto folder = directory / std::string(id.substr(0, dash));
        if (dash + 1 < id.size() && id[dash + 1] != '.' &&
            std::filesystem::is_directory(folder, error)) {
            if (auto found = locateIn(folder, id.substr(dash + 1))) {
                return found;
            }
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<DesktopEntry> DesktopEntry::parse(std::string_view text, std::string_view group) {
    std::optional<DesktopEntry> entry;
    bool inGroup = false;
    while (!text.empty()) {
        const auto newline = text.find('\n');
        const auto line = trimmed(text.substr(0, newline));
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[') {
            if (inGroup) {
                break; // a group appears once; later groups are other groups
            }
            inGroup = line.back() == ']' && line.substr(1, line.size() - 2) == group;
            if (inGroup) {
                entry.emplace();
            }
            continue;
        }
        const auto equals = line.find('=');
        if (!inGroup || equals == std::string_view::npos) {
            continue;
        }
        const auto key = trimmed(line.substr(0, equals));
        if (!key.empty()) {
            // The first of duplicated keys wins.
            entry->values_.try_emplace(std::string(key),
                                       unescaped(trimmed(line.substr(equals + 1))));
        }
    }
    return entry;
}

std::optional<DesktopEntry> DesktopEntry::load(const std::filesystem::path& file,
                                               std::string_view group) {
    const auto text = BoundedFile::read(file);
    return text ? parse(*text, group) : std::nullopt;
}

std::optional<std::filesystem::path>
DesktopEntry::locate(std::string_view applicationID,
                     const std::vector<std::filesystem::path>& dataDirectories) {
    if (applicationID.empty() || applicationID.find('/') != std::string_view::npos ||
        applicationID.front() == '.') {
        return std::nullopt;
    }
    for (const auto& directory : dataDirectories) {
        if (auto found = locateIn(directory / "applications", applicationID)) {
            return found;
        }
    }
    return std::nullopt;
}

std::vector<std::string> DesktopEntry::localizedKeys(std::string_view key,
                                                     std::string_view locale) {
    // lang_COUNTRY.ENCODING@MODIFIER; the encoding never takes part in matching.
    std::string_view modifier;
    if (const auto at = locale.find('@'); at != std::string_view::npos) {
        modifier = locale.substr(at + 1);
        locale = locale.substr(0, at);
    }
    if (const auto dot = locale.find('.'); dot != std::string_view::npos) {
        locale = locale.substr(0, dot);
    }
    std::string_view country;
    if (const auto underscore = locale.find('_'); underscore != std::string_view::npos) {
        country = locale.substr(underscore + 1);
        locale = locale.substr(0, underscore);
    }
    const auto lang = locale;
    const auto localized = [&](std::string_view suffix) {
        return std::string(key) + "[" + std::string(suffix) + "]";
    };
    std::vector<std::string> keys;
    if (!lang.empty() && lang != "C" && lang != "POSIX") {
        const std::string langCountry = std::string(lang) + "_" + std::string(country);
        if (!country.empty() && !modifier.empty()) {
            keys.push_back(localized(langCountry + "@" + std::string(modifier)));
        }
        if (!country.empty()) {
            keys.push_back(localized(langCountry));
        }
        if (!modifier.empty()) {
            keys.push_back(localized(std::string(lang) + "@" + std::string(modifier)));
        }
        keys.push_back(localized(lang));
    }
    keys.emplace_back(key);
    return keys;
}

std::optional<std::string> DesktopEntry::value(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) {
        return std::nullopt;
    }
    return found->second;
}

std::optional<std::string> DesktopEntry::localizedValue(std::string_view key,
                                                        std::string_view locale) const {
    for (const auto& candidate : localizedKeys(key, locale)) {
        if (auto found = value(candidate)) {
            return found;
        }
    }
    return std::nullopt;
}

bool DesktopEntry::boolean(std::string_view key) const {
    return value(key) == "true";
}

} // namespace tovo
