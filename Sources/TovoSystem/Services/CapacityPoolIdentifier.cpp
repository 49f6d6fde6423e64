#include "TovoSystem/Services/CapacityPoolIdentifier.hpp"

#include "TovoSystem/Services/MediaTransportEligibility.hpp"

namespace tovo::CapacityPoolIdentifier {

std::optional<std::string> make(const std::optional<std::string>& fileSystemType,
                                const std::optional<std::string>& logicalWholeDiskIdentifier,
                                const std::string& fallbackDiskGroupID) {
    if (!fileSystemType ||
        !MediaTransportEligibility::equalsIgnoringCase(*fileSystemType, "apfs")) {
        return std::nullopt;
    }
    return "apfs:" + logicalWholeDiskIdentifier.value_or(fallbackDiskGroupID);
}

} // namespace tovo::CapacityPoolIdentifier
