#include "Tovo/Support/DemoVolumeProvider.hpp"

#include "Tovo/Support/DemoData.hpp"

namespace tovo {

Task<std::vector<ExternalDisk>> DemoVolumeProvider::mountedExternalDisks() {
    co_return std::vector<ExternalDisk>{DemoData::disk()};
}

} // namespace tovo
