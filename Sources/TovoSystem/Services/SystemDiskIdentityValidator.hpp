#pragma once

#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Services/DiskIdentityValidating.hpp"

namespace tovo {

/// Lists the disks again and requires the same attachment, the same volume UUIDs,
/// the same mount paths and the same media UUID. Names and sizes may change.
class SystemDiskIdentityValidator final : public DiskIdentityValidating {
public:
    explicit SystemDiskIdentityValidator(VolumeProviding& provider)
        : provider_(provider) {}

    Task<void> validate(ExternalDisk disk) override;

    static constexpr const char* changedMessage =
        "The disk identity changed. Refresh the list and try again.";

    /// The comparison alone, of the chosen disk against a fresh listing.
    static bool matches(const ExternalDisk& chosen, const std::vector<ExternalDisk>& listed);

private:
    VolumeProviding& provider_;
};

} // namespace tovo
