// The mount table decoder must accept any bytes: never crash, never loop, and never
// grow a field (every escape shortens its text).
#include "TovoSystem/Linux/MountInfo.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (tovo::MountInfo::decode(text).size() > text.size()) {
        __builtin_trap();
    }
    for (const auto& entry : tovo::MountInfo::parse(text)) {
        if (entry.mountPoint.size() > text.size() || entry.source.size() > text.size()) {
            __builtin_trap();
        }
        (void)entry.isReadOnly();
    }
    return 0;
}
