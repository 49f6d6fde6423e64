#include "TovoCore/Services/LsofFieldParser.hpp"

#include "TovoCore/Services/Utf8.hpp"

#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>
#include <unordered_map>

namespace tovo {

namespace {

// Decimal with an optional sign; nothing for empty, non-numeric or out-of-range text.
template<class Integer>
std::optional<Integer> parseDecimal(std::string_view text) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return std::nullopt;
    }
    std::uint64_t magnitude = 0;
    const auto* end = text.data() + text.size();
    auto [next, error] = std::from_chars(text.data(), end, magnitude);
    if (error != std::errc{} || next != end) {
        return std::nullopt;
    }
    if (negative) {
        if constexpr (std::is_unsigned_v<Integer>) {
            return magnitude == 0 ? std::optional<Integer>(0) : std::nullopt;
        } else {
            // |min| is max + 1 for two's complement types of at most 32 bits.
            const auto limit = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max()) + 1;
            if (magnitude > limit) {
                return std::nullopt;
            }
            return static_cast<Integer>(-static_cast<std::int64_t>(magnitude));
        }
    }
    if (magnitude > static_cast<std::uint64_t>(std::numeric_limits<Integer>::max())) {
        return std::nullopt;
    }
    return static_cast<Integer>(magnitude);
}

// The process set being read; the current descriptor, type and access describe
// the file set and carry over from one name to the next.
struct ProcessBuilder {
    std::optional<std::int32_t> pid;
    std::optional<std::int32_t> parentPID;
    std::string command;
    std::optional<std::uint32_t> userID;
    std::optional<std::string> loginName;
    std::vector<OpenFileReference> openFiles;
    std::optional<std::string> currentDescriptor;
    std::optional<std::string> currentType;
    OpenAccess currentAccess = OpenAccess::unknown;
};

class Collector {
public:
    void finish(ProcessBuilder& builder) {
        if (!builder.pid || builder.openFiles.empty()) {
            return;
        }
        const auto pid = *builder.pid;
        BlockingProcess process{
            pid,
            builder.parentPID,
            builder.command.empty() ? "Process " + std::to_string(pid) : std::move(builder.command),
            builder.userID,
            std::move(builder.loginName),
            std::move(builder.openFiles),
            std::nullopt,
            std::nullopt,
            false,
            std::nullopt,
        };
        auto [entry, inserted] = indexByPid_.emplace(pid, processes_.size());
        if (inserted) {
            processes_.push_back(std::move(process));
        } else {
            auto& stored = processes_[entry->second];
            stored = stored.merging(process);
        }
    }

    std::vector<BlockingProcess> take() { return std::move(processes_); }

private:
    std::vector<BlockingProcess> processes_;
    std::unordered_map<std::int32_t, std::size_t> indexByPid_;
};

void apply(char letter, std::string_view value, ProcessBuilder& builder, Collector& collector) {
    switch (letter) {
    case 'p':
        collector.finish(builder);
        builder = ProcessBuilder{};
        builder.pid = parseDecimal<std::int32_t>(value);
        break;
    case 'R':
        builder.parentPID = parseDecimal<std::int32_t>(value);
        break;
    case 'c':
        builder.command = decodeUtf8Lossy(value);
        break;
    case 'u':
        builder.userID = parseDecimal<std::uint32_t>(value);
        break;
    case 'L':
        builder.loginName = decodeUtf8Lossy(value);
        break;
    case 'f':
        builder.currentDescriptor = decodeUtf8Lossy(value);
        builder.currentType.reset();
        builder.currentAccess = OpenAccess::unknown;
        break;
    case 't':
        builder.currentType = decodeUtf8Lossy(value);
        break;
    case 'a':
        builder.currentAccess = openAccessFromLsofValue(value);
        break;
    case 'n':
        builder.openFiles.push_back({decodeUtf8Lossy(value), builder.currentDescriptor,
                                     builder.currentType, builder.currentAccess});
        break;
    default:
        break; // process group, task, size and other fields do not matter here
    }
}

} // namespace

std::vector<BlockingProcess> LsofFieldParser::parse(std::string_view output) const {
    ProcessBuilder builder;
    Collector collector;
    const char* cursor = output.data();
    const char* const end = output.data() + output.size();
    while (cursor < end) {
        const auto* nul = static_cast<const char*>(std::memchr(cursor, '\0', end - cursor));
        const char* pieceEnd = nul ? nul : end;
        const char* start = cursor;
        while (start < pieceEnd && (*start == '\n' || *start == '\r')) {
            ++start;
        }
        if (start < pieceEnd) {
            apply(*start, std::string_view(start + 1, pieceEnd - start - 1), builder, collector);
        }
        cursor = nul ? nul + 1 : end;
    }
    collector.finish(builder);
    return collector.take();
}

} // namespace tovo
