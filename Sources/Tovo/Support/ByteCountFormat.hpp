#pragma once

#include <cstdint>
#include <string>

namespace tovo {

/// A byte count as a file browser prints it: decimal units (1 kB = 1000 bytes),
/// no fraction for kB, one for MB, two from GB up, trailing zeros dropped:
/// "999 bytes", "12 kB", "12.3 MB", "428 GB", "1 TB", "1.23 GB".
std::string formatByteCount(std::int64_t bytes);

} // namespace tovo
