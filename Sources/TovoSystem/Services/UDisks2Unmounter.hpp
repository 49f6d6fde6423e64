#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoSystem/Services/Unmounter.hpp"

#include <chrono>

namespace tovo {

/// Unmounts and ejects through udisks2 on the system bus, as unprivileged desktop
/// software does: every mounted file system of the whole disk, then Drive.PowerOff
/// when the drive can, else Drive.Eject when it is ejectable. It acts only on the
/// block whose device number and diskseq were proved, checks the diskseq again before
/// every call, and powers off only once no device of the disk is mounted or held
/// anywhere it can see. Blocking work runs on a worker thread, D-Bus calls with a
/// time limit, so a stuck or absent udisks2 never hangs.
class UDisks2Unmounter final : public Unmounter {
public:
    /// `busAddress` replaces the system bus and `sysRoot` /sys (tests use their own).
    explicit UDisks2Unmounter(Executor& executor,
                              std::optional<std::string> busAddress = std::nullopt,
                              std::chrono::milliseconds callTimeout = std::chrono::seconds(25),
                              std::filesystem::path sysRoot = "/sys");

    Task<void> unmountAndEject(ProvedDisk disk) override;

    /// The same work, blocking the calling thread.
    void unmountAndEjectNow(const ProvedDisk& disk) const;

private:
    Executor& executor_;
    std::optional<std::string> busAddress_;
    std::chrono::milliseconds callTimeout_;
    std::filesystem::path sysRoot_;
};

} // namespace tovo
