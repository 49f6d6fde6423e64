#include "TovoSystem/Linux/ProcOpenFileScanner.hpp"

#include "TovoCore/Services/Utf8.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <dirent.h>
#include <fcntl.h>
#include <set>
#include <unistd.h>
#include <utility>

namespace tovo {

namespace {

std::optional<std::string> readSmallFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    std::string text;
    char buffer[8192];
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

/// The target text of a symbolic link; the target itself is never looked at.
std::optional<std::string> readLink(const std::string& path) {
    std::string target(256, '\0');
    while (true) {
        const auto length = ::readlink(path.c_str(), target.data(), target.size());
        if (length < 0) {
            return std::nullopt;
        }
        if (static_cast<std::size_t>(length) < target.size()) {
            target.resize(static_cast<std::size_t>(length));
            return target;
        }
        target.resize(target.size() * 2);
    }
}

template<class Number>
std::optional<Number> parseNumber(std::string_view text, int base = 10) {
    Number value{};
    const auto* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value, base);
    if (text.empty() || error != std::errc() || rest != end) {
        return std::nullopt;
    }
    return value;
}

/// The value after "key:" and blanks on the line that starts with it.
std::optional<std::string_view> field(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const auto newline = text.find('\n');
        auto line = text.substr(0, newline);
        if (line.starts_with(key) && line.size() > key.size() && line[key.size()] == ':') {
            line.remove_prefix(key.size() + 1);
            const auto start = line.find_first_not_of(" \t");
            return start == std::string_view::npos ? std::string_view() : line.substr(start);
        }
        if (newline == std::string_view::npos) {
            break;
        }
        text.remove_prefix(newline + 1);
    }
    return std::nullopt;
}

/// The mount through which /proc/<pid>/<name> (cwd, root, exe) reaches its target:
/// the link is opened with O_PATH, which neither opens nor stats the target, and the
/// kernel names the mount in our own descriptor's fdinfo.
std::optional<int> mountIDOfLink(const std::string& link) {
    const int fd = ::open(link.c_str(), O_PATH | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    const auto info = readSmallFile("/proc/self/fdinfo/" + std::to_string(fd));
    ::close(fd);
    const auto parsed = info ? ProcOpenFileScanner::parseDescriptorInfo(*info) : std::nullopt;
    if (!parsed) {
        return std::nullopt;
    }
    return parsed->mountID;
}

std::vector<int> descriptorNumbers(const std::string& folder) {
    std::vector<int> numbers;
    DIR* directory = ::opendir(folder.c_str());
    if (directory == nullptr) {
        return numbers;
    }
    while (const dirent* entry = ::readdir(directory)) {
        if (const auto number = parseNumber<int>(entry->d_name)) {
            numbers.push_back(*number);
        }
    }
    ::closedir(directory);
    std::ranges::sort(numbers);
    return numbers;
}

std::string undoLineFeedEscape(std::string_view path) {
    std::string text;
    text.reserve(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (path.substr(i, 4) == "\\012") {
            text.push_back('\n');
            i += 3;
        } else {
            text.push_back(path[i]);
        }
    }
    return text;
}

} // namespace

struct ProcOpenFileScanner::Targets {
    std::set<int> mountIDs;
    std::set<std::pair<unsigned, unsigned>> devices;
};

std::vector<MountEntry> ProcOpenFileScanner::mounts() const {
    return MountInfo::read("/proc/self/mountinfo");
}

std::optional<std::string> ProcOpenFileScanner::commandName(std::int32_t pid) const {
    return proc_.commandName(pid);
}

std::vector<BlockingProcess>
ProcOpenFileScanner::holders(const std::vector<MountEntry>& mounts) const {
    Targets targets;
    for (const auto& mount : mounts) {
        targets.mountIDs.insert(mount.mountID);
        targets.devices.emplace(mount.major, mount.minor);
    }
    std::vector<std::int32_t> pids;
    if (DIR* directory = ::opendir("/proc")) {
        while (const dirent* entry = ::readdir(directory)) {
            if (const auto pid = parseNumber<std::int32_t>(entry->d_name); pid && *pid > 0) {
                pids.push_back(*pid);
            }
        }
        ::closedir(directory);
    }
    std::ranges::sort(pids);
    std::vector<BlockingProcess> result;
    if (targets.mountIDs.empty()) {
        return result;
    }
    for (const auto pid : pids) {
        if (auto process = holder(pid, targets)) {
            result.push_back(std::move(*process));
        }
    }
    return result;
}

std::optional<BlockingProcess> ProcOpenFileScanner::holder(std::int32_t pid,
                                                           const Targets& targets) const {
    auto files = openFiles(pid, targets);
    if (files.empty()) {
        return std::nullopt;
    }
    const auto stat = proc_.stat(pid);
    const auto command = proc_.commandName(pid);
    return BlockingProcess{pid,
                           stat ? std::optional(stat->parentPID) : std::nullopt,
                           command ? decodeUtf8Lossy(*command) : "Process " + std::to_string(pid),
                           proc_.realUserID(pid),
                           std::nullopt,
                           std::move(files),
                           std::nullopt,
                           std::nullopt,
                           false,
                           std::nullopt};
}

std::vector<OpenFileReference> ProcOpenFileScanner::openFiles(std::int32_t pid,
                                                              const Targets& targets) const {
    const auto folder = "/proc/" + std::to_string(pid) + "/";
    std::vector<OpenFileReference> files;
    auto add = [&files](std::optional<std::string> path, std::string descriptor,
                        std::optional<std::string> type, OpenAccess access) {
        if (path) {
            files.push_back(
                {decodeUtf8Lossy(*path), std::move(descriptor), std::move(type), access});
        }
    };

    // In lsof's order: working folder, root, program, maps, then descriptors.
    constexpr std::pair<const char*, const char*> links[] = {
        {"cwd", "cwd"}, {"root", "rtd"}, {"exe", "txt"}};
    std::optional<std::string> executable;
    for (const auto& [link, descriptor] : links) {
        const auto mountID = mountIDOfLink(folder + link);
        if (mountID && targets.mountIDs.contains(*mountID)) {
            auto path = readLink(folder + link);
            if (std::string_view(link) == "exe") {
                executable = path;
            }
            add(std::move(path), descriptor, std::string_view(link) == "exe" ? "REG" : "DIR",
                OpenAccess::unknown);
        }
    }

    // The program's own mappings are its "txt" already.
    std::set<std::string> mapped;
    if (const auto maps = readSmallFile(folder + "maps")) {
        for (auto& mapping : parseMaps(*maps)) {
            if (targets.devices.contains({mapping.major, mapping.minor}) &&
                mapping.path != executable && mapped.insert(mapping.path).second) {
                add(std::move(mapping.path), "mem", "REG", OpenAccess::unknown);
            }
        }
    }

    for (const auto number : descriptorNumbers(folder + "fd")) {
        const auto name = std::to_string(number);
        const auto text = readSmallFile(folder + "fdinfo/" + name);
        const auto info = text ? parseDescriptorInfo(*text) : std::nullopt;
        if (info && targets.mountIDs.contains(info->mountID)) {
            add(readLink(folder + "fd/" + name), name, std::nullopt, accessOf(info->flags));
        }
    }
    return files;
}

std::optional<ProcOpenFileScanner::DescriptorInfo>
ProcOpenFileScanner::parseDescriptorInfo(std::string_view text) {
    const auto mountText = field(text, "mnt_id");
    const auto flagsText = field(text, "flags");
    const auto mountID = mountText ? parseNumber<int>(*mountText) : std::nullopt;
    const auto flags = flagsText ? parseNumber<int>(*flagsText, 8) : std::nullopt;
    if (!mountID || !flags) {
        return std::nullopt;
    }
    return DescriptorInfo{*mountID, *flags};
}

std::vector<ProcOpenFileScanner::Mapping> ProcOpenFileScanner::parseMaps(std::string_view text) {
    std::vector<Mapping> mappings;
    while (!text.empty()) {
        const auto newline = text.find('\n');
        auto line = text.substr(0, newline);
        text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);

        // address perms offset dev inode [path]
        std::string_view fields[5];
        bool complete = true;
        for (auto& part : fields) {
            const auto start = line.find_first_not_of(' ');
            if (start == std::string_view::npos) {
                complete = false;
                break;
            }
            line.remove_prefix(start);
            const auto end = std::min(line.find(' '), line.size());
            part = line.substr(0, end);
            line.remove_prefix(end);
        }
        const auto colon = fields[3].find(':');
        if (!complete || colon == std::string_view::npos) {
            continue;
        }
        const auto major = parseNumber<unsigned>(fields[3].substr(0, colon), 16);
        const auto minor = parseNumber<unsigned>(fields[3].substr(colon + 1), 16);
        const auto inode = parseNumber<std::uint64_t>(fields[4]);
        const auto pathStart = line.find_first_not_of(' ');
        if (!major || !minor || !inode || *inode == 0 || pathStart == std::string_view::npos) {
            continue;
        }
        mappings.push_back({*major, *minor, undoLineFeedEscape(line.substr(pathStart))});
    }
    return mappings;
}

OpenAccess ProcOpenFileScanner::accessOf(int flags) {
    switch (flags & O_ACCMODE) {
    case O_RDONLY:
        return OpenAccess::read;
    case O_WRONLY:
        return OpenAccess::write;
    case O_RDWR:
        return OpenAccess::readWrite;
    default:
        return OpenAccess::unknown;
    }
}

} // namespace tovo
