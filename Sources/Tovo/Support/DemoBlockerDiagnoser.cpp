#include "Tovo/Support/DemoBlockerDiagnoser.hpp"

namespace tovo {

Task<std::vector<BlockingProcess>> DemoBlockerDiagnoser::blockers(ExternalDisk) {
    co_return co_await scenario_->activeBlockers();
}

} // namespace tovo
