// One write-out sample a second while a disk is ejected: what each costs, read on the
// calling thread and as the window takes it (a worker thread, then back). At one a
// second, a sample must stay far below 10 ms, 1% of a core.
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/KernelWriteOutMonitor.hpp"

#include <benchmark/benchmark.h>

#include <filesystem>

namespace {

// A real block device of this machine: the root file system's disk, else any.
std::string someDisk() {
    std::string chosen;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block", error)) {
        const auto name = entry.path().filename().string();
        if (chosen.empty() || name.starts_with("vd") || name.starts_with("sd") ||
            name.starts_with("nvme")) {
            chosen = name;
        }
    }
    return chosen;
}

tovo::ExternalDisk diskNamed(const std::string& name) {
    return {"attachment:1", name, {}, {}, 1, name, {}, {}};
}

void SampleOnTheCallingThread(benchmark::State& state) {
    tovo::ManualExecutor executor;
    tovo::KernelWriteOutMonitor monitor(executor);
    const auto disk = diskNamed(someDisk());
    for (auto _ : state) {
        benchmark::DoNotOptimize(monitor.sampleNow(disk));
    }
    state.SetLabel(*disk.wholeDiskIdentifier);
}
BENCHMARK(SampleOnTheCallingThread)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

void SampleOnAWorkerThread(benchmark::State& state) {
    tovo::ManualExecutor executor;
    tovo::KernelWriteOutMonitor monitor(executor);
    const auto disk = diskNamed(someDisk());
    for (auto _ : state) {
        auto handle = tovo::spawn(executor, monitor.sample(disk));
        executor.runUntil([&] { return handle.isDone(); });
    }
    state.SetLabel(*disk.wholeDiskIdentifier);
}
BENCHMARK(SampleOnAWorkerThread)->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

} // namespace
