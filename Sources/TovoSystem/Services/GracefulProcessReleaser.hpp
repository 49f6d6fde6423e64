#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"
#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <cstdint>
#include <memory>

namespace tovo {

/// Plans whether Tovo may politely ask each blocker to quit, and later asks the
/// approved ones, each after a fresh identity check. Never sends a signal. Planning and
/// requests read /proc and talk to the session bus and the display, so they run on a
/// worker thread and resume on `executor`.
class GracefulProcessReleaser final : public ProcessReleasing {
public:
    GracefulProcessReleaser(Executor& executor, std::uint32_t currentUserID,
                            std::int32_t currentProcessID,
                            std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
                            std::shared_ptr<ApplicationRegistry> registry);

    Task<std::vector<ProcessReleasePlan>>
    planRelease(std::vector<BlockingProcess> processes) const override;
    Task<std::vector<ReleaseAttempt>>
    requestRelease(std::vector<BlockingProcess> processes) override;

    /// The plans, blocking the calling thread.
    std::vector<ProcessReleasePlan> plansNow(const std::vector<BlockingProcess>& processes) const;
    /// The attempts, blocking the calling thread.
    std::vector<ReleaseAttempt> requestNow(const std::vector<BlockingProcess>& processes);

private:
    /// A plan, and the route a quit plan will take.
    struct Planned {
        ProcessReleasePlan plan;
        std::optional<QuitRoute> route;
    };
    Planned plan(const BlockingProcess& process) const;
    ReleaseAttempt request(const BlockingProcess& process);

    Executor& executor_;
    std::uint32_t currentUserID_;
    std::int32_t currentProcessID_;
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider_;
    std::shared_ptr<ApplicationRegistry> registry_;
};

} // namespace tovo
