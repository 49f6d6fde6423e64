#pragma once

#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Services/DiskIdentityValidating.hpp"

namespace tovo {

/// Lists the disks again and requires the same attachment and the same media UUID,
/// and volumes (UUIDs and mount paths) that were all there when the disk was chosen.
/// Fewer is fine: an eject refused as busy may already have unmounted some of them.
/// Names and sizes may change.
class SystemDiskIdentityValidator final : public DiskIdentityValidating {
public:
    explicit SystemDiskIdentityValidator(VolumeProviding& provider)
        : provider_(provider) {}

    Task<ExternalDisk> validate(ExternalDisk disk) override;

    static constexpr const char* changedMessage =
        "The disk identity changed. Refresh the list and try again.";

    /// The comparison alone, of the chosen disk against a fresh listing: the listed
    /// disk that proves to be the chosen one.
    static std::optional<ExternalDisk> match(const ExternalDisk& chosen,
                                             const std::vector<ExternalDisk>& listed);

private:
    VolumeProviding& provider_;
};

} // namespace tovo
