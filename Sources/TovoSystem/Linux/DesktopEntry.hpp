#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovo {

/// One group of a desktop entry file (or of a file in its key-file format, such
/// as .flatpak-info), with the locale rules for `Key[lang_COUNTRY@MODIFIER]`.
class DesktopEntry {
public:
    /// The group `group` of `text`; nothing when the text has no such group.
    static std::optional<DesktopEntry> parse(std::string_view text,
                                             std::string_view group = "Desktop Entry");
    static std::optional<DesktopEntry> load(const std::filesystem::path& file,
                                            std::string_view group = "Desktop Entry");
    /// The desktop file with id `<id>.desktop` in the first of `dataDirectories`
    /// whose `applications/` holds it, directly or in a folder (id `foo-bar` for
    /// `applications/foo/bar.desktop`).
    static std::optional<std::filesystem::path>
    locate(std::string_view applicationID,
           const std::vector<std::filesystem::path>& dataDirectories);

    /// The keys to try for `key` in `locale` (as in LANG), narrowest first,
    /// ending with the unlocalized key.
    static std::vector<std::string> localizedKeys(std::string_view key, std::string_view locale);

    /// The value as written, escapes undone.
    std::optional<std::string> value(std::string_view key) const;
    std::optional<std::string> localizedValue(std::string_view key, std::string_view locale) const;
    /// True only for the value "true".
    bool boolean(std::string_view key) const;

private:
    std::map<std::string, std::string, std::less<>> values_;
};

} // namespace tovo
