#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace tovo {

/// Who a process is right now.
struct ProcessMetadata {
    std::int32_t pid;
    std::int32_t parentPID;
    std::uint32_t userID;
    std::string command;
    std::optional<std::string> executablePath;
    ProcessStartTime startTime;

    bool operator==(const ProcessMetadata&) const = default;
};

/// Live process facts; every answer is read afresh. Nothing means gone or hidden.
class ProcessMetadataProviding {
public:
    virtual ~ProcessMetadataProviding() = default;
    virtual std::optional<ProcessMetadata> metadata(std::int32_t pid) const = 0;
    virtual std::optional<ParentApplication> parentApplication(std::int32_t pid) const = 0;
};

} // namespace tovo
