#pragma once

#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/Error.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

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

    /// The device is no longer the disk that was proved.
    static constexpr const char* identityChangedName = "org.tovo.Tovo.Error.IdentityChanged";
    /// A device of the disk is still mounted or held after everything was unmounted.
    static constexpr const char* stillInUseName = "org.tovo.Tovo.Error.StillInUse";

    std::string name; ///< a D-Bus error name, "org.freedesktop.UDisks2.Error.DeviceBusy"
    std::string message;
    std::optional<std::int64_t> errorCode;
    std::optional<std::int32_t> dissentingProcessID; ///< Linux names none

    std::string description() const override { return message; }
    std::string domain() const override { return name; }
    std::int64_t code() const override { return errorCode.value_or(0); }
};

/// What the identity check proved about a disk; the unmounter acts on nothing else.
struct ProvedDisk {
    std::string wholeDiskIdentifier;               ///< kernel name, "sdb"
    std::uint64_t attachmentID;                    ///< its diskseq, else udev's USEC_INITIALIZED
    std::vector<std::filesystem::path> mountPaths; ///< every mounted volume of the disk

    bool operator==(const ProvedDisk&) const = default;
};

/// Unmounts every file system of a whole disk, then powers it off or ejects it.
class Unmounter {
public:
    virtual ~Unmounter() = default;
    /// Throws `UnmountError`; `identityChangedName` when the device is not `disk` any
    /// more, `stillInUseName` when it is still mounted or held after unmounting.
    virtual Task<void> unmountAndEject(ProvedDisk disk) = 0;
};

} // namespace tovo
