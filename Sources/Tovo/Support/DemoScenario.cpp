#include "Tovo/Support/DemoScenario.hpp"

#include "Tovo/Support/ResumeOn.hpp"
#include "Tovo/Support/SerialExecutor.hpp"

namespace tovo {

DemoScenario::DemoScenario(std::vector<BlockingProcess> initialBlockers, Executor& mainExecutor,
                           std::shared_ptr<Executor> isolation)
    : DemoScenario(std::move(initialBlockers), {}, mainExecutor, std::move(isolation)) {}

DemoScenario::DemoScenario(std::vector<BlockingProcess> initialBlockers,
                           std::vector<BusyCause> initialCauses, Executor& mainExecutor,
                           std::shared_ptr<Executor> isolation)
    : activeBlockers_(std::move(initialBlockers))
    , activeCauses_(std::move(initialCauses))
    , mainExecutor_(mainExecutor)
    , isolation_(isolation ? std::move(isolation) : std::make_shared<SerialExecutor>()) {}

// The hops are named awaiters: GCC 12 mishandles temporaries in co_await.
Task<std::vector<BlockingProcess>> DemoScenario::activeBlockers() {
    auto toScenario = resumeOn(*isolation_);
    co_await toScenario;
    auto copy = activeBlockers_;
    auto toMain = resumeOn(mainExecutor_);
    co_await toMain;
    co_return copy;
}

Task<void> DemoScenario::clearBlockers() {
    auto toScenario = resumeOn(*isolation_);
    co_await toScenario;
    activeBlockers_.clear();
    auto toMain = resumeOn(mainExecutor_);
    co_await toMain;
}

Task<std::vector<BusyCause>> DemoScenario::activeCauses() {
    auto toScenario = resumeOn(*isolation_);
    co_await toScenario;
    auto copy = activeCauses_;
    auto toMain = resumeOn(mainExecutor_);
    co_await toMain;
    co_return copy;
}

Task<bool> DemoScenario::removeCause(std::string key) {
    auto toScenario = resumeOn(*isolation_);
    co_await toScenario;
    const auto removed =
        std::erase_if(activeCauses_, [&key](const BusyCause& cause) { return cause.key() == key; });
    auto toMain = resumeOn(mainExecutor_);
    co_await toMain;
    co_return removed > 0;
}

} // namespace tovo
