#include "TovoSystem/Linux/JournalLogger.hpp"

#include "TovoSystem/Services/ApplicationRegistry.hpp"

#include <systemd/sd-journal.h>

#include <syslog.h>

namespace tovo {

JournalLogger::JournalLogger(std::string category)
    : category_(std::move(category)) {}

int JournalLogger::priority(LogLevel level) {
    switch (level) {
    case LogLevel::debug:
        return LOG_DEBUG;
    case LogLevel::info:
        return LOG_INFO;
    case LogLevel::error:
        break;
    }
    return LOG_ERR;
}

void JournalLogger::log(LogLevel level, std::string_view message) {
    // Without a journal (containers, CI) the call fails quietly; logging must
    // never disturb an ejection.
    sd_journal_send("MESSAGE=%.*s", static_cast<int>(message.size()), message.data(), "PRIORITY=%d",
                    priority(level), "SYSLOG_IDENTIFIER=tovo", "TOVO_SUBSYSTEM=%s",
                    tovoApplicationID, "TOVO_CATEGORY=%s", category_.c_str(), nullptr);
}

} // namespace tovo
