#include "TovoCore/Async/CancellationError.hpp"

namespace tovo {

bool isCancellation(std::exception_ptr error) {
    if (!error) {
        return false;
    }
    try {
        std::rethrow_exception(error);
    } catch (const CancellationError&) {
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace tovo
