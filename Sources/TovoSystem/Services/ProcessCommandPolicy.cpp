#include "TovoSystem/Services/ProcessCommandPolicy.hpp"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <initializer_list>

namespace tovo {

namespace {

// Full Unicode lower-casing, so "TIME MACHINE" and "Ünïcode" names compare as typed.
std::string lowercased(std::string_view text) {
    std::string result;
    icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
        .toLower(icu::Locale::getRoot())
        .toUTF8String(result);
    return result;
}

bool containsAny(const std::string& text, std::initializer_list<std::string_view> fragments) {
    return std::any_of(fragments.begin(), fragments.end(), [&](std::string_view fragment) {
        return text.find(fragment) != std::string::npos;
    });
}

template<std::size_t N>
bool isOneOf(const std::string& name, const std::array<std::string_view, N>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

std::string ProcessCommandPolicy::executableName(std::string_view command) {
    const auto lower = lowercased(command);
    const auto end = lower.find_last_not_of('/');
    if (end == std::string::npos) {
        return lower;
    }
    const auto slash = lower.rfind('/', end);
    const auto start = slash == std::string::npos ? 0 : slash + 1;
    return lower.substr(start, end + 1 - start);
}

bool ProcessCommandPolicy::isVirtualMachine(std::string_view command) {
    return containsAny(lowercased(command), {"virtual", "vmware", "parallels", "qemu"});
}

bool ProcessCommandPolicy::isTransfer(std::string_view command) {
    return containsAny(lowercased(command), {"backup", "sync", "rsync"});
}

bool ProcessCommandPolicy::isShell(std::string_view command) {
    return containsAny(lowercased(command), {"terminal", "iterm"}) ||
           isOneOf(executableName(command), shellExecutables);
}

bool ProcessCommandPolicy::isSensitive(std::string_view command) {
    if (isOneOf(executableName(command), protectedExecutables)) {
        return true;
    }
    const auto lower = lowercased(command);
    return std::any_of(
        sensitiveFragments.begin(), sensitiveFragments.end(),
        [&](std::string_view fragment) { return lower.find(fragment) != std::string::npos; });
}

bool ProcessCommandPolicy::isSystemHelper(std::string_view command) {
    return isOneOf(executableName(command), systemHelperExecutables);
}

} // namespace tovo
