#include "TovoSystem/Services/DiskIdentityDeviceTree.hpp"

namespace tovo {

std::optional<std::string> DeviceNode::property(const std::string& key) const {
    const auto found = properties.find(key);
    if (found == properties.end()) {
        return std::nullopt;
    }
    return found->second;
}

} // namespace tovo
