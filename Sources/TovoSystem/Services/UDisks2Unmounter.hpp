#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoSystem/Services/Unmounter.hpp"

#include <chrono>

namespace tovo {

/// Unmounts and ejects through udisks2 on the system bus, as unprivileged desktop
/// software does: every mounted file system of the whole disk, then Drive.PowerOff
/// when the drive can, else Drive.Eject when it is ejectable. Blocking D-Bus calls
/// run on a worker thread with a time limit, so a stuck or absent udisks2 never hangs.
class UDisks2Unmounter final : public Unmounter {
public:
    /// `busAddress` replaces the system bus (tests run a private one).
    explicit UDisks2Unmounter(Executor& executor,
                              std::optional<std::string> busAddress = std::nullopt,
                              std::chrono::milliseconds callTimeout = std::chrono::seconds(25));

    Task<void> unmountAndEject(std::filesystem::path mountPath,
                               std::optional<std::string> wholeDiskIdentifier) override;

    /// The same work, blocking the calling thread.
    void unmountAndEjectNow(const std::filesystem::path& mountPath,
                            const std::optional<std::string>& wholeDiskIdentifier) const;

private:
    Executor& executor_;
    std::optional<std::string> busAddress_;
    std::chrono::milliseconds callTimeout_;
};

} // namespace tovo
