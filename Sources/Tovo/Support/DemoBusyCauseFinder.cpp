#include "Tovo/Support/DemoBusyCauseFinder.hpp"

namespace tovo {

Task<std::vector<BusyCause>> DemoBusyCauseFinder::causes(ExternalDisk, bool) {
    auto reading = scenario_->activeCauses();
    co_return co_await reading;
}

Task<BusyCauseAttempt> DemoBusyCauseFinder::resolve(BusyCause cause) {
    auto removing = scenario_->removeCause(cause.key());
    const bool removed = co_await removing;
    co_return BusyCauseAttempt{
        cause.key(), removed ? ReleaseDisposition::requested : ReleaseDisposition::alreadyClosed,
        removed ? "Released." : "It no longer holds the disk."};
}

} // namespace tovo
