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

bool ProcessCommandPolicy::isVirtualMachine(std::string_view command,
                                            const std::optional<std::string>& executablePath) {
    return ProgramRoles::of(command, executablePath) == ProgramRole::virtualMachine ||
           containsAny(lowercased(command), {"virtual", "vmware", "parallels", "qemu"});
}

bool ProcessCommandPolicy::isTransfer(std::string_view command,
                                      const std::optional<std::string>& executablePath) {
    return ProgramRoles::of(command, executablePath) == ProgramRole::transfer ||
           containsAny(lowercased(command), {"backup", "sync", "rsync"});
}

bool ProcessCommandPolicy::isShell(std::string_view command,
                                   const std::optional<std::string>& executablePath) {
    const auto role = ProgramRoles::of(command, executablePath);
    return role == ProgramRole::shell || role == ProgramRole::terminal ||
           containsAny(lowercased(command), {"terminal"});
}

bool ProcessCommandPolicy::isSensitive(std::string_view command,
                                       const std::optional<std::string>& executablePath) {
    if (ProgramRoles::of(command, executablePath)) {
        return true;
    }
    const auto lower = lowercased(command);
    return std::any_of(
        sensitiveFragments.begin(), sensitiveFragments.end(),
        [&](std::string_view fragment) { return lower.find(fragment) != std::string::npos; });
}

bool ProcessCommandPolicy::isSystemHelper(std::string_view command,
                                          const std::optional<std::string>& executablePath) {
    const auto role = ProgramRoles::of(command, executablePath);
    return role == ProgramRole::desktopHelper || role == ProgramRole::fileIndexer;
}

bool ProcessCommandPolicy::isFileIndexer(std::string_view command,
                                         const std::optional<std::string>& executablePath) {
    return ProgramRoles::of(command, executablePath) == ProgramRole::fileIndexer;
}

} // namespace tovo
