#pragma once

#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

namespace tovo {

/// Proves that a disk about to be ejected is still the one the user chose.
class DiskIdentityValidating {
public:
    virtual ~DiskIdentityValidating() = default;
    /// The disk as it is listed now, when it is still the one chosen; throws
    /// `EjectionFailure` (kind identityChanged) when not.
    virtual Task<ExternalDisk> validate(ExternalDisk disk) = 0;
};

} // namespace tovo
