#include "Tovo/Support/WriteOutWatch.hpp"

namespace tovo {

WriteOutWatch::WriteOutWatch(WriteOutMonitoring& monitor, Clock& clock, Executor& executor)
    : monitor_(monitor)
    , clock_(clock)
    , executor_(executor)
    , shared_(std::make_shared<Shared>()) {}

WriteOutWatch::~WriteOutWatch() {
    stop();
    shared_->changed = nullptr;
}

void WriteOutWatch::setChangeHandler(std::function<void()> handler) {
    shared_->changed = std::move(handler);
}

void WriteOutWatch::follow(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk) {
    const bool isEject = phase.is<EjectionPhase::Ejecting>() || phase.is<EjectionPhase::Retrying>();
    if (isEject && disk && watchedDiskID_ == disk->id) {
        return;
    }
    stop();
    if (isEject && disk) {
        watchedDiskID_ = disk->id;
        task_ = spawn(executor_, poll(shared_, shared_->generation, monitor_, clock_, *disk));
    }
}

const std::optional<WriteOutProgress>& WriteOutWatch::progress() const {
    return shared_->progress;
}

void WriteOutWatch::stop() {
    if (!watchedDiskID_) {
        return;
    }
    // A sample still under way sees another generation and is dropped.
    ++shared_->generation;
    shared_->progress.reset();
    watchedDiskID_.reset();
    task_.requestCancellation();
}

Task<void> WriteOutWatch::poll(std::shared_ptr<Shared> shared, std::uint64_t generation,
                               WriteOutMonitoring& monitor, Clock& clock, ExternalDisk disk) {
    // Named tasks: GCC 12 mishandles temporaries inside co_await.
    auto first = monitor.sample(disk);
    co_await first;
    while (true) {
        auto pause = clock.sleep(interval);
        co_await pause;
        auto sampling = monitor.sample(disk);
        const auto sample = co_await sampling;
        if (shared->generation != generation) {
            co_return;
        }
        const bool hasWritten =
            sample.isWriting || (shared->progress && shared->progress->hasWritten);
        shared->progress = WriteOutProgress{sample, hasWritten};
        if (shared->changed) {
            shared->changed();
        }
    }
}

} // namespace tovo
