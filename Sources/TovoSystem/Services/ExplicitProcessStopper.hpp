#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"
#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <cstdint>
#include <functional>
#include <memory>

namespace tovo {

/// The user's last resort for one blocker: an application is asked to quit, any
/// other process gets exactly one SIGTERM, each only after its identity is re-proved.
/// Planning and requests run on a worker thread and resume on `executor`.
class ExplicitProcessStopper final : public ProcessStopping {
public:
    /// Pins the process `pid`, lets `confirm` re-prove its identity, and only then
    /// sends `signal` to the pinned process. 0 when sent; otherwise -1 and errno
    /// tells why (0 when `confirm` said no).
    using Signaler = std::function<std::int32_t(std::int32_t pid, std::int32_t signal,
                                                const std::function<bool()>& confirm)>;

    ExplicitProcessStopper(Executor& executor, std::uint32_t currentUserID,
                           std::int32_t currentProcessID,
                           std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
                           std::shared_ptr<ApplicationRegistry> registry,
                           Signaler signaler = systemSignaler());

    Task<ProcessStopPlan> planStop(BlockingProcess process) const override;
    Task<ReleaseAttempt> requestStop(BlockingProcess process) override;

    /// The plan, blocking the calling thread.
    ProcessStopPlan planNow(const BlockingProcess& process) const;
    /// The request, blocking the calling thread.
    ReleaseAttempt stopNow(const BlockingProcess& process);

    /// The caution shown before the user confirms a stop, if any.
    static std::optional<std::string> warning(const BlockingProcess& process);
    /// Pins with a pidfd and signals through it, so the identity proved is the
    /// identity signalled: a pid reused after the check can never receive it.
    static Signaler systemSignaler();

private:
    struct DisplayIdentity {
        std::string name;
        std::optional<RunningApplication> application; ///< set when it counts as an application
        std::optional<QuitRoute> quitRoute;            ///< how that application can be asked
    };
    DisplayIdentity displayIdentity(const BlockingProcess& process) const;
    ProcessStopPlan plan(const BlockingProcess& process, const DisplayIdentity& identity) const;

    Executor& executor_;
    std::uint32_t currentUserID_;
    std::int32_t currentProcessID_;
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider_;
    std::shared_ptr<ApplicationRegistry> registry_;
    Signaler signaler_;
};

} // namespace tovo
