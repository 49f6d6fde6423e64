#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovo {

/// Removes from lsof's standard error the warnings about file systems other than the
/// one asked about. lsof looks at every mount in the table, and one it may not enter
/// (another user's FUSE mount, a private tmpfs) earns
///
///     lsof: WARNING: can't stat() fuse.gvfsd-fuse file system /run/user/1000/gvfs
///           Output information may be incomplete.
///
/// perhaps followed by "lsof: assuming dev=0x2b for /run/user/1000/gvfs from ...". Such
/// warnings say nothing about this disk. One that names the mount path itself, and
/// every other line, stays.
class LsofWarningFilter {
public:
    explicit LsofWarningFilter(std::string_view mountPath);
    /// Keeps the warnings about any of `mountPaths` (one lsof run over several).
    explicit LsofWarningFilter(const std::vector<std::string>& mountPaths);

    std::string filtered(std::string_view standardError) const;

    /// How lsof may print `path`: "\n", "\t", "\r", "\b", "\f" and "\\" escaped,
    /// other control bytes as "^X", bytes from 0x7f on as "\xhh" (all of them, or, in a
    /// UTF-8 locale, only those not part of a printable character).
    static std::vector<std::string> renderings(std::string_view path);

private:
    /// The path a warning line names, when it is one of the two kinds above.
    static std::optional<std::string_view> namedPath(std::string_view line);
    bool namesMount(std::string_view path) const;

    std::vector<std::string> mountRenderings_;
};

} // namespace tovo
