#pragma once

#include "TovoCore/Services/TovoServices.hpp"

namespace tovo {

/// Always lists the sample disk, also after it was "ejected", so the demo can be
/// run again with Refresh.
class DemoVolumeProvider final : public VolumeProviding {
public:
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override;
};

} // namespace tovo
