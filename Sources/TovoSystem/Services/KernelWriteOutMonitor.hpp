#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/WriteOutMonitoring.hpp"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>

namespace tovo {

/// Where the kernel's accounts are read from; tests use folders of their own.
struct KernelStatisticsRoots {
    std::filesystem::path sys = "/sys";
    std::filesystem::path proc = "/proc";
    std::filesystem::path debug = "/sys/kernel/debug";
};

/// Samples the kernel's own accounts: the whole disk's block statistics (its
/// partitions are counted in them) for writes in flight and sectors written, the
/// rate from the previous sample of the same disk; what is left from the disk's
/// devices in debugfs where Tovo may read it (root), else the system's Dirty and
/// Writeback totals, labelled as such. Files are read on a worker thread.
class KernelWriteOutMonitor final : public WriteOutMonitoring {
public:
    using Roots = KernelStatisticsRoots;
    /// Monotonic time; tests pass their own.
    using Now = std::function<std::chrono::nanoseconds()>;

    explicit KernelWriteOutMonitor(Executor& executor, Roots roots = {}, Now now = {});

    Task<WriteOutSample> sample(ExternalDisk disk) override;
    /// The same, on the calling thread.
    WriteOutSample sampleNow(const ExternalDisk& disk) const;

private:
    struct State;

    Executor& executor_;
    std::shared_ptr<State> state_; ///< shared with samples still running
};

} // namespace tovo
