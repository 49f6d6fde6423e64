#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"

#include <functional>
#include <memory>

namespace tovo {

/// The running-application facts the window shows (names, icons, the app to bring to
/// the front), looked up on worker threads: a lookup reads /proc and desktop files that
/// other programs chose, which must never stall the UI thread. An unknown pid answers
/// "none" at once; when its lookup lands, the change handler runs on the main executor.
class BackgroundApplicationLookup final : public ApplicationDirectory {
public:
    BackgroundApplicationLookup(std::shared_ptr<ApplicationRegistry> registry,
                                Executor& mainExecutor);
    ~BackgroundApplicationLookup() override;
    BackgroundApplicationLookup(const BackgroundApplicationLookup&) = delete;
    BackgroundApplicationLookup& operator=(const BackgroundApplicationLookup&) = delete;

    void setChangeHandler(std::function<void()> onChange);
    /// The processes on screen changed: each answer is looked up again when next asked,
    /// and the last one known is given meanwhile.
    void invalidate();
    /// Asks the application to come to the front, off the UI thread.
    void activate(std::int32_t pid);

    std::optional<RunningApplication> runningApplication(std::int32_t pid) const override;

private:
    struct Shared;
    std::shared_ptr<ApplicationRegistry> registry_;
    std::shared_ptr<Shared> shared_;
};

} // namespace tovo
