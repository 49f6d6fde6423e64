#pragma once

#include <optional>
#include <string>

namespace tovo {

/// Volumes that share one container's free space get one pool key, so the disk's
/// capacity counts that space once. Only APFS containers share space.
namespace CapacityPoolIdentifier {

std::optional<std::string> make(const std::optional<std::string>& fileSystemType,
                                const std::optional<std::string>& logicalWholeDiskIdentifier,
                                const std::string& fallbackDiskGroupID);

} // namespace CapacityPoolIdentifier

} // namespace tovo
