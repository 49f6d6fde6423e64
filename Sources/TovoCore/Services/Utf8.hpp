#pragma once

#include <string>
#include <string_view>

namespace tovo {

/// Decodes bytes as UTF-8, replacing each malformed sequence with U+FFFD. Never fails.
std::string decodeUtf8Lossy(std::string_view bytes);

} // namespace tovo
