#pragma once

#include "TovoCore/Services/Logger.hpp"

#include <mutex>
#include <vector>

namespace tovo::testing {

/// Keeps every log line, so tests can check the account a flow leaves behind.
class RecordingLogger final : public Logger {
public:
    struct Entry {
        LogLevel level;
        std::string message;
        bool operator==(const Entry&) const = default;
    };

    void log(LogLevel level, std::string_view message) override;
    std::vector<Entry> entries() const;
    std::vector<std::string> messages() const;
    bool contains(LogLevel level, std::string_view message) const;
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

} // namespace tovo::testing
