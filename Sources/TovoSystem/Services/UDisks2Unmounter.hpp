#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/Logger.hpp"
#include "TovoSystem/Services/Unmounter.hpp"

#include <chrono>
#include <stop_token>

namespace tovo {

/// Unmounts and ejects through udisks2 on the system bus, as unprivileged desktop
/// software does: every mounted file system of the whole disk, then every logical
/// volume and unlocked encrypted container on it, deepest first, then Drive.PowerOff
/// when the drive can, else Drive.Eject when it is ejectable. It acts only on the
/// block whose device number and diskseq were proved, checks the diskseq again before
/// every call, and powers off only once no device of the disk is mounted, unlocked or
/// held anywhere it can see. Blocking work runs on a worker thread. Questions to
/// udisks2 have a time limit, so a stuck or absent udisks2 never hangs; the work itself
/// (writing out cached data can take minutes) has none, and may ask for a password.
/// Cancellation starts no further call. Each write-out goes to `logger`, if given.
class UDisks2Unmounter final : public Unmounter {
public:
    /// `busAddress` replaces the system bus, `sysRoot` /sys and `procRoot` /proc (tests
    /// use their own).
    explicit UDisks2Unmounter(Executor& executor,
                              std::optional<std::string> busAddress = std::nullopt,
                              std::chrono::milliseconds callTimeout = std::chrono::seconds(25),
                              std::filesystem::path sysRoot = "/sys", Logger* logger = nullptr,
                              std::filesystem::path procRoot = "/proc");

    Task<void> unmountAndEject(ProvedDisk disk) override;

    /// The same work, blocking the calling thread; throws `CancellationError` before a
    /// call once `stop` is requested.
    void unmountAndEjectNow(const ProvedDisk& disk, std::stop_token stop = {}) const;

private:
    Executor& executor_;
    std::optional<std::string> busAddress_;
    std::chrono::milliseconds callTimeout_;
    std::filesystem::path sysRoot_;
    Logger* logger_;
    std::filesystem::path procRoot_;
};

} // namespace tovo
