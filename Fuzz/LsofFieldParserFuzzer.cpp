// The parser must accept any bytes: never crash, never fail, never read past the buffer.
#include "TovoCore/Services/LsofFieldParser.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto processes = tovo::LsofFieldParser{}.parse(bytes);
    std::unordered_set<std::int32_t> pids;
    for (const auto& process : processes) {
        // Every kept process has files, and each pid is listed once.
        if (process.openFiles.empty() || !pids.insert(process.pid).second) {
            __builtin_trap();
        }
    }
    return 0;
}
