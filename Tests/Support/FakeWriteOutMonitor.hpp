#pragma once

#include "Support/ScriptedOperation.hpp"
#include "TovoCore/Services/WriteOutMonitoring.hpp"

namespace tovo::testing {

/// A write-out monitor whose samples the test scripts, and whose calls it answers
/// when it likes.
class FakeWriteOutMonitor final : public WriteOutMonitoring {
public:
    explicit FakeWriteOutMonitor(Executor& executor)
        : samples(executor) {}
    Task<WriteOutSample> sample(ExternalDisk disk) override {
        return samples.call(std::move(disk));
    }

    ScriptedOperation<WriteOutSample, ExternalDisk> samples;
};

} // namespace tovo::testing
