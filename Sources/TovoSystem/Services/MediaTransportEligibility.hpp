#pragma once

#include <optional>
#include <string>

namespace tovo {

/// Whether a transport describes media that only exists in software (a disk image,
/// a virtual device). Such media are never offered for ejection.
namespace MediaTransportEligibility {

bool isVirtual(const std::optional<std::string>& deviceProtocol,
               const std::optional<std::string>& physicalInterconnect,
               const std::optional<std::string>& physicalInterconnectLocation,
               bool hasDiskImageURL);

/// Trimmed text equals `word` ignoring ASCII case.
bool equalsIgnoringCase(const std::string& text, const std::string& word);

} // namespace MediaTransportEligibility

} // namespace tovo
