#include "TovoSystem/Linux/ProcFileSystem.hpp"

#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <limits>
#include <unistd.h>
#include <vector>

namespace tovo {

namespace {

std::optional<std::string> readSmallFile(const std::filesystem::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    std::string text;
    char buffer[4096];
    bool failed = false;
    while (true) {
        const auto count = ::read(fd, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            failed = count < 0;
            break;
        }
        text.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(fd);
    if (failed) {
        return std::nullopt;
    }
    return text;
}

template<class Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number value{};
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end || text.empty()) {
        return std::nullopt;
    }
    return value;
}

std::vector<std::string_view> splitFields(std::string_view text) {
    std::vector<std::string_view> fields;
    std::size_t position = 0;
    while (position < text.size()) {
        const auto start = text.find_first_not_of(" \t\n", position);
        if (start == std::string_view::npos) {
            break;
        }
        auto end = text.find_first_of(" \t\n", start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        fields.push_back(text.substr(start, end - start));
        position = end;
    }
    return fields;
}

/// The value of the line starting with `key` in a "key value" listing.
std::optional<std::string_view> lineValue(std::string_view text, std::string_view key) {
    std::size_t position = 0;
    while (position < text.size()) {
        auto end = text.find('\n', position);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        const auto line = text.substr(position, end - position);
        if (line.starts_with(key)) {
            return line.substr(key.size());
        }
        position = end + 1;
    }
    return std::nullopt;
}

} // namespace

ProcFileSystem::ProcFileSystem()
    : ProcFileSystem("/proc", ::sysconf(_SC_CLK_TCK)) {}

ProcFileSystem::ProcFileSystem(std::filesystem::path root, long clockTicksPerSecond)
    : root_(std::move(root))
    , clockTicksPerSecond_(clockTicksPerSecond) {}

std::filesystem::path ProcFileSystem::processFile(std::int32_t pid, const char* name) const {
    return root_ / std::to_string(pid) / name;
}

std::optional<ProcFileSystem::Stat> ProcFileSystem::parseStat(std::string_view text) {
    // The command in parentheses may itself hold spaces and parentheses.
    const auto close = text.rfind(')');
    if (close == std::string_view::npos) {
        return std::nullopt;
    }
    const auto fields = splitFields(text.substr(close + 1));
    // After the command: state, ppid, ... starttime is the 20th.
    constexpr std::size_t parentField = 1;
    constexpr std::size_t startTimeField = 19;
    if (fields.size() <= startTimeField) {
        return std::nullopt;
    }
    const auto parent = parseNumber<std::int32_t>(fields[parentField]);
    const auto start = parseNumber<std::uint64_t>(fields[startTimeField]);
    if (!parent || !start || fields.front().size() != 1) {
        return std::nullopt;
    }
    return Stat{*parent, *start, fields.front().front()};
}

std::optional<std::uint32_t> ProcFileSystem::parseRealUserID(std::string_view status) {
    const auto value = lineValue(status, "Uid:");
    if (!value) {
        return std::nullopt;
    }
    const auto fields = splitFields(*value);
    if (fields.empty()) {
        return std::nullopt;
    }
    return parseNumber<std::uint32_t>(fields.front());
}

std::optional<std::uint64_t> ProcFileSystem::parseBootTime(std::string_view stat) {
    const auto value = lineValue(stat, "btime ");
    if (!value) {
        return std::nullopt;
    }
    const auto fields = splitFields(*value);
    if (fields.size() != 1) {
        return std::nullopt;
    }
    return parseNumber<std::uint64_t>(fields.front());
}

std::optional<ProcFileSystem::Stat> ProcFileSystem::stat(std::int32_t pid) const {
    const auto text = readSmallFile(processFile(pid, "stat"));
    return text ? parseStat(*text) : std::nullopt;
}

std::optional<std::uint32_t> ProcFileSystem::realUserID(std::int32_t pid) const {
    const auto text = readSmallFile(processFile(pid, "status"));
    return text ? parseRealUserID(*text) : std::nullopt;
}

std::optional<std::uint64_t> ProcFileSystem::bootTime() const {
    const auto text = readSmallFile(root_ / "stat");
    return text ? parseBootTime(*text) : std::nullopt;
}

std::optional<ProcessStartTime> ProcFileSystem::startTime(std::uint64_t startTicks) const {
    const auto boot = bootTime();
    return boot ? startTime(startTicks, *boot) : std::nullopt;
}

std::optional<ProcessStartTime> ProcFileSystem::startTime(std::uint64_t startTicks,
                                                          std::uint64_t bootTime) const {
    const std::optional<std::uint64_t> boot = bootTime;
    if (clockTicksPerSecond_ <= 0) {
        return std::nullopt;
    }
    const auto hertz = static_cast<std::uint64_t>(clockTicksPerSecond_);
    const auto afterBoot = startTicks / hertz;
    if (afterBoot > std::numeric_limits<std::uint64_t>::max() - *boot) {
        return std::nullopt;
    }
    return ProcessStartTime{*boot + afterBoot, (startTicks % hertz) * 1'000'000 / hertz};
}

std::optional<std::string> ProcFileSystem::commandName(std::int32_t pid) const {
    auto text = readSmallFile(processFile(pid, "comm"));
    if (!text) {
        return std::nullopt;
    }
    if (!text->empty() && text->back() == '\n') {
        text->pop_back();
    }
    if (text->empty()) {
        return std::nullopt;
    }
    return text;
}

std::optional<std::string> ProcFileSystem::executablePath(std::int32_t pid) const {
    std::error_code error;
    auto target = std::filesystem::read_symlink(processFile(pid, "exe"), error);
    if (error || target.empty()) {
        return std::nullopt;
    }
    return target.string();
}

} // namespace tovo
