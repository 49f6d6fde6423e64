#pragma once

#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/Error.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace tovo {

/// The system's refusal to unmount or eject, in its own words.
class UnmountError final : public Error {
public:
    UnmountError(std::string name, std::string message,
                 std::optional<std::int64_t> errorCode = std::nullopt,
                 std::optional<std::int32_t> dissentingProcessID = std::nullopt)
        : name(std::move(name))
        , message(std::move(message))
        , errorCode(errorCode)
        , dissentingProcessID(dissentingProcessID) {}

    std::string name; ///< a D-Bus error name, "org.freedesktop.UDisks2.Error.DeviceBusy"
    std::string message;
    std::optional<std::int64_t> errorCode;
    std::optional<std::int32_t> dissentingProcessID; ///< Linux names none

    std::string description() const override { return message; }
    std::string domain() const override { return name; }
    std::int64_t code() const override { return errorCode.value_or(0); }
};

/// Unmounts every file system of a whole disk, then powers it off or ejects it.
class Unmounter {
public:
    virtual ~Unmounter() = default;
    /// `mountPath` is one mounted volume of the disk; `wholeDiskIdentifier` its kernel
    /// name when known. Throws `UnmountError`.
    virtual Task<void> unmountAndEject(std::filesystem::path mountPath,
                                       std::optional<std::string> wholeDiskIdentifier) = 0;
};

} // namespace tovo
