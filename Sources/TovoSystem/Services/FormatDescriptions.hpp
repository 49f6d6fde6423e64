#pragma once

#include <optional>
#include <string>

namespace tovo::FormatDescriptions {

/// The name a file browser shows for a file-system type ("vfat" -> "FAT"); an
/// unknown type is shown as the kernel names it; absent only when the type is.
std::optional<std::string> describe(const std::optional<std::string>& fileSystemType);

} // namespace tovo::FormatDescriptions
