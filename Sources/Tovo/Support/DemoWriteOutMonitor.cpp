#include "Tovo/Support/DemoWriteOutMonitor.hpp"

namespace tovo {

Task<WriteOutSample> DemoWriteOutMonitor::sample(ExternalDisk) {
    co_return WriteOutSample{false, 0, WriteOutScope::disk, 0};
}

} // namespace tovo
