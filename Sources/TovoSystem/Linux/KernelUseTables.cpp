#include "TovoSystem/Linux/KernelUseTables.hpp"

#include <algorithm>
#include <charconv>
#include <sys/sysmacros.h>

namespace tovo::KernelUseTables {

namespace {

std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> result;
    std::size_t start = 0;
    while (true) {
        start = line.find_first_not_of(" \t", start);
        if (start == std::string_view::npos) {
            return result;
        }
        const auto end = std::min(line.find_first_of(" \t", start), line.size());
        result.push_back(line.substr(start, end - start));
        start = end;
    }
}

template<class Visit>
void eachLine(std::string_view text, Visit visit) {
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        visit(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::optional<int> number(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

bool hasHidingOption(std::string_view options) {
    while (!options.empty()) {
        const auto comma = std::min(options.find(','), options.size());
        const auto option = options.substr(0, comma);
        if (option.starts_with("hidepid=")) {
            const auto value = option.substr(8);
            if (value != "0" && value != "off") {
                return true;
            }
        }
        options.remove_prefix(std::min(comma + 1, options.size()));
    }
    return false;
}

} // namespace

std::vector<SwapArea> parseSwaps(std::string_view text) {
    std::vector<SwapArea> areas;
    eachLine(text, [&](std::string_view line) {
        const auto parts = words(line);
        if (parts.size() < 2 || parts[0] == "Filename") {
            return;
        }
        // A removed swap file keeps its name with " (deleted)", a real space.
        const auto type = parts[1] == "(deleted)" && parts.size() > 2 ? parts[2] : parts[1];
        areas.push_back({MountInfo::decode(parts[0]), type == "partition"});
    });
    return areas;
}

std::vector<std::string> parseExports(std::string_view text) {
    std::vector<std::string> paths;
    eachLine(text, [&](std::string_view line) {
        const auto parts = words(line);
        if (parts.empty() || parts[0].starts_with('#') || !parts[0].starts_with('/')) {
            return;
        }
        auto path = MountInfo::decode(parts[0]);
        if (std::find(paths.begin(), paths.end(), path) == paths.end()) {
            paths.push_back(std::move(path));
        }
    });
    return paths;
}

std::map<int, Propagation> parsePropagation(std::string_view mountinfo) {
    std::map<int, Propagation> result;
    eachLine(mountinfo, [&](std::string_view line) {
        const auto parts = words(line);
        const auto id = parts.empty() ? std::nullopt : number(parts[0]);
        if (!id || parts.size() < 7) {
            return;
        }
        Propagation propagation;
        for (std::size_t index = 6; index < parts.size() && parts[index] != "-"; ++index) {
            const auto field = parts[index];
            if (field.starts_with("shared:")) {
                propagation.shared = number(field.substr(7));
            } else if (field.starts_with("master:")) {
                propagation.master = number(field.substr(7));
            }
        }
        result[*id] = propagation;
    });
    return result;
}

bool hidesProcesses(const std::vector<MountEntry>& mounts) {
    return std::any_of(mounts.begin(), mounts.end(), [](const MountEntry& entry) {
        return entry.fileSystemType == "proc" && entry.mountPoint == "/proc" &&
               (hasHidingOption(entry.superOptions) || hasHidingOption(entry.mountOptions));
    });
}

dev_t decodeKernelDevice(std::uint64_t encoded) {
    // The kernel's huge_encode_dev: minor's low byte, major, then minor's high bits.
    const auto major = static_cast<unsigned>((encoded & 0xfff00u) >> 8);
    const auto minor = static_cast<unsigned>((encoded & 0xffu) | ((encoded >> 12) & 0xfff00u));
    return makedev(major, minor);
}

} // namespace tovo::KernelUseTables
