#pragma once

#include "TovoCore/Services/WriteOutMonitoring.hpp"

namespace tovo {

/// The demo's write-out: its sample disk holds no real data and its eject answers at
/// once, so nothing is ever left to write to it, and nothing is written.
class DemoWriteOutMonitor final : public WriteOutMonitoring {
public:
    Task<WriteOutSample> sample(ExternalDisk disk) override;
};

} // namespace tovo
