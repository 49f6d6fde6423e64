#include "Tovo/Support/BackgroundApplicationLookup.hpp"

#include <map>
#include <mutex>
#include <system_error>
#include <thread>

namespace tovo {

struct BackgroundApplicationLookup::Shared {
    struct Entry {
        std::optional<RunningApplication> application;
        bool isKnown = false;
        bool isStale = false;
        bool isPending = false;
    };

    std::mutex mutex;
    std::uint64_t generation = 0; ///< moves on with every invalidation
    Executor* executor;           ///< null once the lookup is gone: late answers are dropped
    std::function<void()> onChange;
    std::map<std::int32_t, Entry> entries;
};

BackgroundApplicationLookup::BackgroundApplicationLookup(
    std::shared_ptr<ApplicationRegistry> registry, Executor& mainExecutor)
    : registry_(std::move(registry))
    , shared_(std::make_shared<Shared>()) {
    shared_->executor = &mainExecutor;
}

BackgroundApplicationLookup::~BackgroundApplicationLookup() {
    std::lock_guard lock(shared_->mutex);
    shared_->executor = nullptr;
    shared_->onChange = nullptr;
}

void BackgroundApplicationLookup::setChangeHandler(std::function<void()> onChange) {
    std::lock_guard lock(shared_->mutex);
    shared_->onChange = std::move(onChange);
}

void BackgroundApplicationLookup::invalidate() {
    std::lock_guard lock(shared_->mutex);
    ++shared_->generation;
    for (auto& [pid, entry] : shared_->entries) {
        entry.isStale = true;
    }
}

void BackgroundApplicationLookup::activate(std::int32_t pid) {
    try {
        std::thread([registry = registry_, pid] { registry->activate(pid); }).detach();
    } catch (const std::system_error&) {
        // No thread to spare: the app simply stays where it is.
    }
}

std::optional<RunningApplication>
BackgroundApplicationLookup::runningApplication(std::int32_t pid) const {
    std::lock_guard lock(shared_->mutex);
    auto& entry = shared_->entries[pid];
    if ((!entry.isKnown || entry.isStale) && !entry.isPending && registry_) {
        entry.isPending = true;
        try {
            const auto generation = shared_->generation;
            std::thread([registry = registry_, shared = shared_, pid, generation] {
                auto application = registry->runningApplication(pid);
                std::lock_guard lock(shared->mutex);
                if (shared->executor == nullptr) {
                    return;
                }
                shared->executor->post(
                    [shared, pid, generation, application = std::move(application)] {
                        std::function<void()> onChange;
                        {
                            std::lock_guard lock(shared->mutex);
                            auto& found = shared->entries[pid];
                            const bool changed = !found.isKnown || found.application != application;
                            // An invalidation while it was looked up asks for another look.
                            found = {application, true, generation != shared->generation, false};
                            if (changed) {
                                onChange = shared->onChange;
                            }
                        }
                        if (onChange) {
                            onChange();
                        }
                    });
            }).detach();
        } catch (const std::system_error&) {
            entry.isPending = false;
        }
    }
    return entry.application;
}

} // namespace tovo
