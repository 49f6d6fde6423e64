#include "Support/RecordingLogger.hpp"

#include <algorithm>
#include <ranges>

namespace tovo::testing {

void RecordingLogger::log(LogLevel level, std::string_view message) {
    std::lock_guard lock(mutex_);
    entries_.push_back({level, std::string(message)});
}

std::vector<RecordingLogger::Entry> RecordingLogger::entries() const {
    std::lock_guard lock(mutex_);
    return entries_;
}

std::vector<std::string> RecordingLogger::messages() const {
    std::lock_guard lock(mutex_);
    const auto view = entries_ | std::views::transform(&Entry::message);
    return {view.begin(), view.end()};
}

bool RecordingLogger::contains(LogLevel level, std::string_view message) const {
    std::lock_guard lock(mutex_);
    return std::ranges::find(entries_, Entry{level, std::string(message)}) != entries_.end();
}

void RecordingLogger::clear() {
    std::lock_guard lock(mutex_);
    entries_.clear();
}

} // namespace tovo::testing
