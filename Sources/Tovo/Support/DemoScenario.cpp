#include "Tovo/Support/DemoScenario.hpp"

#include "Tovo/Support/ResumeOn.hpp"
#include "Tovo/Support/SerialExecutor.hpp"

namespace tovo {

DemoScenario::DemoScenario(std::vector<BlockingProcess> initialBlockers, Executor& mainExecutor,
                           std::shared_ptr<Executor> isolation)
    : activeBlockers_(std::move(initialBlockers))
    , mainExecutor_(mainExecutor)
    , isolation_(isolation ? std::move(isolation) : std::make_shared<SerialExecutor>()) {}

Task<std::vector<BlockingProcess>> DemoScenario::activeBlockers() {
    co_await resumeOn(*isolation_);
    auto copy = activeBlockers_;
    co_await resumeOn(mainExecutor_);
    co_return copy;
}

Task<void> DemoScenario::clearBlockers() {
    co_await resumeOn(*isolation_);
    activeBlockers_.clear();
    co_await resumeOn(mainExecutor_);
}

} // namespace tovo
