#pragma once

#include "Support/ScriptedOperation.hpp"
#include "TovoCore/Services/BusyCauseFinding.hpp"

namespace tovo::testing {

/// One cause search: which disk, and whether the diagnosis had found processes.
struct CauseSearch {
    ExternalDisk disk;
    bool processesFound;
    bool operator==(const CauseSearch&) const = default;
};

/// A cause finder whose answers the test scripts. It finds nothing unless told,
/// and every action succeeds unless told otherwise.
class ScriptedBusyCauseFinder final : public BusyCauseFinding {
public:
    explicit ScriptedBusyCauseFinder(Executor& executor)
        : searches(executor)
        , resolutions(executor) {
        searches.setValue({});
        resolutions.setResponder([](const BusyCause& cause) {
            return decltype(resolutions)::Outcome::success(
                BusyCauseAttempt{cause.key(), ReleaseDisposition::requested, "Done."});
        });
    }

    Task<std::vector<BusyCause>> causes(ExternalDisk disk, bool processesFound) override {
        return searches.call({std::move(disk), processesFound});
    }
    Task<BusyCauseAttempt> resolve(BusyCause cause) override {
        return resolutions.call(std::move(cause));
    }

    ScriptedOperation<std::vector<BusyCause>, CauseSearch> searches;
    ScriptedOperation<BusyCauseAttempt, BusyCause> resolutions;
};

inline BusyCause makeCause(BusyCauseKind kind, std::string subject,
                           BusyCauseAction action = BusyCauseAction::none) {
    const BusyCausePlan plan{action,
                             action == BusyCauseAction::none ? "You must act." : "Tovo will act."};
    return BusyCause{kind,         "sdb1",       std::move(subject), std::nullopt,
                     std::nullopt, std::nullopt, std::nullopt,       plan};
}

} // namespace tovo::testing
