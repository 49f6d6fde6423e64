#include "TovoCore/Async/Spawn.hpp"

namespace tovo {

void TaskHandle::requestCancellation() const {
    if (state_) {
        state_->stopSource.request_stop();
    }
}

bool TaskHandle::isDone() const {
    return state_ && state_->done.load();
}

std::exception_ptr TaskHandle::error() const {
    return state_ ? state_->error : nullptr;
}

} // namespace tovo
