#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/BusyCauseFinding.hpp"
#include "TovoSystem/Linux/BusyCauseScanner.hpp"
#include "TovoSystem/Services/UDisks2CauseBus.hpp"

#include <memory>
#include <optional>
#include <sys/types.h>
#include <unistd.h>

namespace tovo {

/// Finds what keeps a disk busy besides processes (see `BusyCauseScanner`) and plans
/// each cause: Tovo acts only through udisks2 and only on what udisks2 shows as the
/// user's to release (a nested file system it mounted there alone, a loop device this
/// user set up, a locked-up container with nothing open inside); everything else is
/// the user's, with the step to take. All of it runs on a worker thread.
class SystemBusyCauseFinder final : public BusyCauseFinding {
public:
    /// `seesAllProcesses` none: root with a /proc that hides nothing.
    SystemBusyCauseFinder(Executor& executor, std::shared_ptr<const CauseActionBus> bus,
                          BusyCauseScanner scanner = BusyCauseScanner(), uid_t userID = ::geteuid(),
                          std::optional<bool> seesAllProcesses = std::nullopt);

    Task<std::vector<BusyCause>> causes(ExternalDisk disk, bool processesFound) override;
    Task<BusyCauseAttempt> resolve(BusyCause cause) override;

    /// The same work, blocking the calling thread.
    std::vector<BusyCause> find(const ExternalDisk& disk, bool processesFound) const;
    BusyCauseAttempt resolveNow(const BusyCause& cause) const;

private:
    BusyCausePlan plan(const ScannedCause& scanned, const std::vector<UDisks2Block>& blocks) const;
    void unmountNested(const BusyCause& cause) const;
    void detachLoop(const BusyCause& cause) const;
    void lockEncrypted(const BusyCause& cause) const;

    Executor& executor_;
    std::shared_ptr<const CauseActionBus> bus_;
    BusyCauseScanner scanner_;
    uid_t userID_;
    std::optional<bool> seesAllProcesses_;
};

} // namespace tovo
