#include "TovoCore/Services/Logger.hpp"

namespace tovo {

std::string_view name(LogLevel level) {
    switch (level) {
    case LogLevel::debug:
        return "debug";
    case LogLevel::info:
        return "info";
    case LogLevel::error:
        break;
    }
    return "error";
}

} // namespace tovo
