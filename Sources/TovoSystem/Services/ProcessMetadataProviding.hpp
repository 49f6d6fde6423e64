#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"

#include <cstdint>
#include <memory>
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
    /// A provider for one diagnosis, which may keep what it read (the boot time, each
    /// process's parent and application) until it goes; none: use this one.
    virtual std::shared_ptr<const ProcessMetadataProviding> forOneDiagnosis() const {
        return nullptr;
    }
};

} // namespace tovo
