#pragma once

#include <string>
#include <string_view>

namespace tovo {

enum class LogLevel { debug, info, error };
std::string_view name(LogLevel level);

/// Where the workflow writes its account of what it does. The journal in the
/// application; a recorder in tests.
class Logger {
public:
    virtual ~Logger() = default;
    virtual void log(LogLevel level, std::string_view message) = 0;

    void debug(std::string_view message) { log(LogLevel::debug, message); }
    void info(std::string_view message) { log(LogLevel::info, message); }
    void error(std::string_view message) { log(LogLevel::error, message); }
};

/// Discards everything.
class NullLogger final : public Logger {
public:
    void log(LogLevel, std::string_view) override {}
};

} // namespace tovo
