#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/BusyCause.hpp"

#include <memory>
#include <vector>

namespace tovo {

/// The one piece of mutable demo state: the processes and the other causes that
/// keep the sample disk busy. They are touched only on the scenario's own serial executor; every
/// operation hops there and then back to the main executor, so the demo services
/// behave like real asynchronous ones and a later read always sees an earlier clear.
class DemoScenario {
public:
    /// `isolation` is the scenario's serial executor; by default a worker thread of
    /// its own. `mainExecutor` is where every operation resumes.
    DemoScenario(std::vector<BlockingProcess> initialBlockers, Executor& mainExecutor,
                 std::shared_ptr<Executor> isolation = nullptr);
    DemoScenario(std::vector<BlockingProcess> initialBlockers, std::vector<BusyCause> initialCauses,
                 Executor& mainExecutor, std::shared_ptr<Executor> isolation = nullptr);

    /// A copy of the processes that now block the disk.
    Task<std::vector<BlockingProcess>> activeBlockers();
    /// Every blocker goes away at once. There is no way back.
    Task<void> clearBlockers();
    /// A copy of the other causes that now keep the disk busy.
    Task<std::vector<BusyCause>> activeCauses();
    /// The cause with `key` goes away; false when it was gone already.
    Task<bool> removeCause(std::string key);

    Executor& mainExecutor() const { return mainExecutor_; }

private:
    std::vector<BlockingProcess> activeBlockers_;
    std::vector<BusyCause> activeCauses_;
    Executor& mainExecutor_;
    std::shared_ptr<Executor> isolation_;
};

} // namespace tovo
