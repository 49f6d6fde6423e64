#pragma once

#include "Tovo/Support/WriteOutPresentation.hpp"
#include "TovoCore/Async/Clock.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Spawn.hpp"
#include "TovoCore/Services/WriteOutMonitoring.hpp"

#include <chrono>
#include <functional>
#include <memory>

namespace tovo {

/// Samples the write-out of the disk being ejected once a second, on the main executor,
/// for as long as the phase is an eject (ejecting or retrying). The first sample, taken
/// at once, only starts the rate; the first one shown comes a second later.
class WriteOutWatch {
public:
    static constexpr std::chrono::seconds interval{1};

    WriteOutWatch(WriteOutMonitoring& monitor, Clock& clock, Executor& executor);
    ~WriteOutWatch();
    WriteOutWatch(const WriteOutWatch&) = delete;
    WriteOutWatch& operator=(const WriteOutWatch&) = delete;

    /// Called after each new sample, on the executor.
    void setChangeHandler(std::function<void()> handler);
    /// Starts watching when `phase` is an eject of `disk`, stops and forgets otherwise.
    void follow(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk);
    /// What this eject's samples showed so far; none before the first one is shown.
    const std::optional<WriteOutProgress>& progress() const;

private:
    struct Shared {
        std::uint64_t generation = 0;
        std::optional<WriteOutProgress> progress;
        std::function<void()> changed;
    };

    static Task<void> poll(std::shared_ptr<Shared> shared, std::uint64_t generation,
                           WriteOutMonitoring& monitor, Clock& clock, ExternalDisk disk);
    void stop();

    WriteOutMonitoring& monitor_;
    Clock& clock_;
    Executor& executor_;
    std::shared_ptr<Shared> shared_; ///< outlives the watch while a sample is under way
    std::optional<std::string> watchedDiskID_;
    TaskHandle task_;
};

} // namespace tovo
