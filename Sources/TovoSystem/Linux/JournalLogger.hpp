#pragma once

#include "TovoCore/Services/Logger.hpp"

#include <string>

namespace tovo {

/// The workflow's account in the systemd journal: identifier "tovo", subsystem
/// the application id, category "workflow", priority from the level.
class JournalLogger final : public Logger {
public:
    explicit JournalLogger(std::string category = "workflow");
    void log(LogLevel level, std::string_view message) override;

    /// The syslog priority a level is written with.
    static int priority(LogLevel level);

private:
    std::string category_;
};

} // namespace tovo
