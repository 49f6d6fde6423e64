#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace tovo {

/// Reads files whose path another program chose (a launcher's variable, a sandbox's
/// info file): only regular files, opened without blocking and read up to a cap, so a
/// FIFO, a device or an endless file can neither hang nor flood Tovo.
struct BoundedFile {
    static constexpr std::size_t defaultLimit = 1024 * 1024;

    /// The whole file; none when it is not a regular file, cannot be read, or is
    /// larger than `limit` bytes. Files of /proc report size 0 and are read to their end.
    static std::optional<std::string> read(const std::filesystem::path& path,
                                           std::size_t limit = defaultLimit);
};

} // namespace tovo
