#include "TovoSystem/Linux/SysfsBlockDevices.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <set>
#include <sys/sysmacros.h>

namespace tovo {

namespace {

// Far deeper than any real stack of partitions, dm, md and loop; guards against cycles.
constexpr std::size_t maximumDevices = 256;

std::optional<std::string> firstLine(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::string line;
    if (!file || !std::getline(file, line)) {
        return std::nullopt;
    }
    return line;
}

template<class Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || rest != end) {
        return std::nullopt;
    }
    return value;
}

// A name read from a directory listing, never a path of its own.
bool isPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

std::vector<std::string> entries(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

std::filesystem::path SysfsBlockDevices::device(const std::string& name) const {
    return root_ / "class" / "block" / name;
}

std::optional<dev_t> SysfsBlockDevices::deviceNumber(const std::string& name) const {
    if (!isPlainName(name)) {
        return std::nullopt;
    }
    const auto text = firstLine(device(name) / "dev");
    const auto colon = text ? text->find(':') : std::string::npos;
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    const auto major = number<unsigned>(std::string_view(*text).substr(0, colon));
    const auto minor = number<unsigned>(std::string_view(*text).substr(colon + 1));
    if (!major || !minor) {
        return std::nullopt;
    }
    return makedev(*major, *minor);
}

std::optional<std::uint64_t> SysfsBlockDevices::diskSequence(const std::string& name) const {
    if (!isPlainName(name)) {
        return std::nullopt;
    }
    const auto text = firstLine(device(name) / "diskseq");
    return text ? number<std::uint64_t>(*text) : std::nullopt;
}

std::vector<std::string> SysfsBlockDevices::holders(const std::string& name) const {
    std::vector<std::string> names;
    if (isPlainName(name)) {
        std::ranges::copy_if(entries(device(name) / "holders"), std::back_inserter(names),
                             isPlainName);
    }
    return names;
}

std::vector<BlockDevice> SysfsBlockDevices::family(const std::string& wholeDisk) const {
    std::vector<BlockDevice> result;
    const auto number = deviceNumber(wholeDisk);
    if (!number) {
        return result;
    }
    result.push_back({wholeDisk, *number});
    std::set<std::string> seen{wholeDisk};
    // Partitions are the disk's subfolders that say so.
    for (const auto& name : entries(device(wholeDisk))) {
        if (!isPlainName(name) ||
            !std::filesystem::exists(device(wholeDisk) / name / "partition")) {
            continue;
        }
        if (const auto partition = deviceNumber(name); partition && seen.insert(name).second) {
            result.push_back({name, *partition});
        }
    }
    for (std::size_t next = 0; next < result.size() && result.size() < maximumDevices; ++next) {
        for (const auto& holder : entries(device(result[next].name) / "holders")) {
            if (!isPlainName(holder) || seen.contains(holder)) {
                continue;
            }
            if (const auto held = deviceNumber(holder)) {
                seen.insert(holder);
                result.push_back({holder, *held});
            }
        }
    }
    return result;
}

} // namespace tovo
