#pragma once

#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Services/DiskIdentityValidating.hpp"
#include "TovoSystem/Services/Unmounter.hpp"

namespace tovo {

/// Ejects a disk after re-proving its identity: every volume unmounted, then the
/// media ejected, by an unmounter held to what was proved. A busy refusal, or a disk
/// still mounted elsewhere, becomes kind `busy` so that diagnosis can follow.
class FileManagerDiskEjector final : public DiskEjecting {
public:
    FileManagerDiskEjector(Unmounter& unmounter, DiskIdentityValidating& identityValidator)
        : unmounter_(unmounter)
        , identityValidator_(identityValidator) {}

    Task<void> eject(ExternalDisk disk) override;

    static constexpr const char* busyErrorName = "org.freedesktop.UDisks2.Error.DeviceBusy";
    static constexpr const char* notMountedMessage = "This disk is no longer mounted.";

    /// The failure a refusal of the unmounter becomes.
    static EjectionFailure failure(const UnmountError& error);

private:
    Unmounter& unmounter_;
    DiskIdentityValidating& identityValidator_;
};

} // namespace tovo
