#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"

#include <string_view>
#include <vector>

namespace tovo {

/// Turns `lsof -F0` field output (NUL-terminated fields, a line feed after each set)
/// into one blocking process per pid, in first-seen order. Pure; never fails.
class LsofFieldParser {
public:
    std::vector<BlockingProcess> parse(std::string_view output) const;
};

} // namespace tovo
