#include "TovoSystem/Linux/WriteOutStatistics.hpp"

#include <charconv>
#include <cmath>
#include <limits>
#include <vector>

namespace tovo::WriteOutStatistics {

namespace {

constexpr std::uint64_t sectorSize = 512;
// The fields of a block device's stat file, counted from zero.
constexpr std::size_t sectorsWrittenField = 6;
constexpr std::size_t inFlightField = 8;

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n';
}

std::vector<std::uint64_t> numbers(std::string_view text) {
    std::vector<std::uint64_t> values;
    std::size_t at = 0;
    while (at < text.size()) {
        if (isSpace(text[at])) {
            ++at;
            continue;
        }
        std::uint64_t value = 0;
        const auto [rest, error] =
            std::from_chars(text.data() + at, text.data() + text.size(), value);
        if (error != std::errc() || (rest != text.data() + text.size() && !isSpace(*rest))) {
            return {};
        }
        values.push_back(value);
        at = static_cast<std::size_t>(rest - text.data());
    }
    return values;
}

// "Name:   1234 kB" on a line of its own, in bytes.
std::optional<std::uint64_t> kilobytesLine(std::string_view text, std::string_view name) {
    std::size_t at = 0;
    while (at < text.size()) {
        auto end = text.find('\n', at);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        auto line = text.substr(at, end - at);
        at = end + 1;
        if (!line.starts_with(name) || line.substr(name.size()).find(':') != 0) {
            continue;
        }
        line.remove_prefix(name.size() + 1);
        if (!line.ends_with(" kB")) {
            return std::nullopt;
        }
        line.remove_suffix(3);
        const auto values = numbers(line);
        if (values.size() != 1 || values[0] > std::numeric_limits<std::uint64_t>::max() / 1024) {
            return std::nullopt;
        }
        return values[0] * 1024;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> sum(std::optional<std::uint64_t> a, std::optional<std::uint64_t> b) {
    if (!a || !b || *a > std::numeric_limits<std::uint64_t>::max() - *b) {
        return std::nullopt;
    }
    return *a + *b;
}

} // namespace

std::optional<BlockWriteCounters> blockCounters(std::string_view stat,
                                                std::optional<std::string_view> inflight) {
    const auto fields = numbers(stat);
    // Kernels since 2.6 write at least eleven fields.
    if (fields.size() < 11) {
        return std::nullopt;
    }
    BlockWriteCounters counters{fields[sectorsWrittenField], fields[inFlightField]};
    if (inflight) {
        const auto readsAndWrites = numbers(*inflight);
        if (readsAndWrites.size() != 2) {
            return std::nullopt;
        }
        counters.writesInFlight = readsAndWrites[1];
    }
    return counters;
}

std::optional<std::uint64_t> systemBytesLeft(std::string_view meminfo) {
    return sum(kilobytesLine(meminfo, "Dirty"), kilobytesLine(meminfo, "Writeback"));
}

std::optional<std::uint64_t> deviceBytesLeft(std::string_view bdiStats) {
    return sum(kilobytesLine(bdiStats, "BdiReclaimable"), kilobytesLine(bdiStats, "BdiWriteback"));
}

std::optional<std::uint64_t> rate(std::uint64_t sectorsBefore, std::uint64_t sectorsNow,
                                  std::chrono::nanoseconds elapsed) {
    if (sectorsNow < sectorsBefore || elapsed <= std::chrono::nanoseconds::zero()) {
        return std::nullopt;
    }
    const double bytes = static_cast<double>(sectorsNow - sectorsBefore) * sectorSize;
    const double perSecond = std::round(bytes / std::chrono::duration<double>(elapsed).count());
    if (perSecond >= static_cast<double>(std::numeric_limits<std::uint64_t>::max())) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(perSecond);
}

} // namespace tovo::WriteOutStatistics
