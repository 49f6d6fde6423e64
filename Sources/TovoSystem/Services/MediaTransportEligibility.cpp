#include "TovoSystem/Services/MediaTransportEligibility.hpp"

#include "TovoCore/Models/Error.hpp"

#include <algorithm>
#include <cctype>

namespace tovo::MediaTransportEligibility {

namespace {

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool namesVirtualTransport(const std::optional<std::string>& text) {
    if (!text) {
        return false;
    }
    const auto normal = lowered(trimmed(*text));
    return normal.find("virtual") != std::string::npos ||
           normal.find("disk image") != std::string::npos;
}

} // namespace

bool equalsIgnoringCase(const std::string& text, const std::string& word) {
    return lowered(trimmed(text)) == lowered(word);
}

bool isVirtual(const std::optional<std::string>& deviceProtocol,
               const std::optional<std::string>& physicalInterconnect,
               const std::optional<std::string>& physicalInterconnectLocation,
               bool hasDiskImageURL) {
    if (hasDiskImageURL) {
        return true;
    }
    if (namesVirtualTransport(deviceProtocol) || namesVirtualTransport(physicalInterconnect)) {
        return true;
    }
    return physicalInterconnectLocation &&
           equalsIgnoringCase(*physicalInterconnectLocation, "file");
}

} // namespace tovo::MediaTransportEligibility
