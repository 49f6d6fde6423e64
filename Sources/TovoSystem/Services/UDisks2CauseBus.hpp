#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tovo {

/// What udisks2 shows of one block device, as far as busy-cause plans need it.
struct UDisks2Block {
    std::string objectPath;
    dev_t deviceNumber;
    std::vector<std::string> mountPoints;           ///< Filesystem.MountPoints
    std::optional<std::uint32_t> loopSetupByUID;    ///< Loop.SetupByUID of a loop device
    bool isEncrypted;                               ///< has the Encrypted interface
    std::optional<std::string> cryptoBackingDevice; ///< a cleartext device's container

    bool operator==(const UDisks2Block&) const = default;
};

/// The udisks2 calls behind the cause actions. Tests replace it with a fake.
class CauseActionBus {
public:
    static constexpr const char* filesystemInterface = "org.freedesktop.UDisks2.Filesystem";
    static constexpr const char* loopInterface = "org.freedesktop.UDisks2.Loop";
    static constexpr const char* encryptedInterface = "org.freedesktop.UDisks2.Encrypted";

    virtual ~CauseActionBus() = default;
    /// Every block udisks2 knows; empty when udisks2 cannot be reached.
    virtual std::vector<UDisks2Block> blocks() const = 0;
    /// One method without arguments but the options (Unmount, Delete, Lock), never
    /// forced and never asking for a password; throws `UnmountError` when refused.
    virtual void call(const std::string& objectPath, const std::string& interface,
                      const std::string& method) const = 0;
};

/// udisks2 on the system bus (or on `busAddress`), each call with a time limit.
class UDisks2CauseBus final : public CauseActionBus {
public:
    explicit UDisks2CauseBus(std::optional<std::string> busAddress = std::nullopt,
                             std::chrono::milliseconds callTimeout = std::chrono::seconds(25));

    std::vector<UDisks2Block> blocks() const override;
    void call(const std::string& objectPath, const std::string& interface,
              const std::string& method) const override;

private:
    std::optional<std::string> busAddress_;
    std::chrono::milliseconds callTimeout_;
};

} // namespace tovo
