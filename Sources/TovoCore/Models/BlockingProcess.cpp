#include "TovoCore/Models/BlockingProcess.hpp"

#include "TovoCore/Models/Hashing.hpp"

#include <algorithm>
#include <unordered_set>

namespace tovo {

std::string_view rawValue(OpenAccess access) {
    switch (access) {
    case OpenAccess::read:
        return "read";
    case OpenAccess::write:
        return "write";
    case OpenAccess::readWrite:
        return "readWrite";
    case OpenAccess::unknown:
        break;
    }
    return "unknown";
}

std::optional<OpenAccess> openAccessFromRawValue(std::string_view raw) {
    for (auto access :
         {OpenAccess::read, OpenAccess::write, OpenAccess::readWrite, OpenAccess::unknown}) {
        if (raw == rawValue(access)) {
            return access;
        }
    }
    return std::nullopt;
}

OpenAccess openAccessFromLsofValue(std::optional<std::string_view> letter) {
    if (letter == "r") {
        return OpenAccess::read;
    }
    if (letter == "w") {
        return OpenAccess::write;
    }
    if (letter == "u") {
        return OpenAccess::readWrite;
    }
    return OpenAccess::unknown;
}

std::string_view lsofValue(OpenAccess access) {
    switch (access) {
    case OpenAccess::read:
        return "r";
    case OpenAccess::write:
        return "w";
    case OpenAccess::readWrite:
        return "u";
    case OpenAccess::unknown:
        break;
    }
    return "";
}

bool canWrite(OpenAccess access) {
    return access == OpenAccess::write || access == OpenAccess::readWrite;
}

bool OpenFileReference::isDirectoryReference() const {
    return descriptor == "cwd" || descriptor == "rtd";
}

bool BlockingProcess::hasWritableFiles() const {
    return std::ranges::any_of(openFiles, [](const auto& file) { return canWrite(file.access); });
}

bool BlockingProcess::hasUnknownAccess() const {
    return std::ranges::any_of(openFiles, [](const auto& file) {
        return file.access == OpenAccess::unknown && !file.isDirectoryReference();
    });
}

bool BlockingProcess::holdsCurrentFolder() const {
    return std::ranges::any_of(openFiles,
                               [](const auto& file) { return file.descriptor == "cwd"; });
}

std::optional<std::string> BlockingProcess::primaryPath() const {
    if (openFiles.empty()) {
        return std::nullopt;
    }
    return openFiles.front().path;
}

bool BlockingProcess::hasSameIdentity(const BlockingProcess& other) const {
    return pid == other.pid && userID == other.userID && command == other.command &&
           parentPID == other.parentPID && startTime == other.startTime &&
           executablePath == other.executablePath;
}

BlockingProcess
BlockingProcess::withExecutionIdentity(std::optional<std::string> newExecutablePath,
                                       std::optional<ProcessStartTime> newStartTime,
                                       std::optional<ParentApplication> newParent) const {
    BlockingProcess copy = *this;
    copy.executablePath = std::move(newExecutablePath);
    copy.startTime = newStartTime;
    if (newParent) {
        copy.parentApplication = std::move(newParent);
    }
    return copy;
}

BlockingProcess BlockingProcess::merging(const BlockingProcess& other) const {
    std::vector<OpenFileReference> files;
    files.reserve(openFiles.size() + other.openFiles.size());
    std::unordered_set<OpenFileReference> seen;
    for (const auto* list : {&openFiles, &other.openFiles}) {
        for (const auto& file : *list) {
            if (seen.insert(file).second) {
                files.push_back(file);
            }
        }
    }
    std::ranges::stable_sort(files, {}, &OpenFileReference::path);

    return BlockingProcess{
        pid,
        parentPID ? parentPID : other.parentPID,
        command.empty() ? other.command : command,
        userID ? userID : other.userID,
        loginName ? loginName : other.loginName,
        std::move(files),
        executablePath ? executablePath : other.executablePath,
        startTime ? startTime : other.startTime,
        isSystemDissent || other.isSystemDissent,
        parentApplication ? parentApplication : other.parentApplication,
    };
}

} // namespace tovo

std::size_t
std::hash<tovo::OpenFileReference>::operator()(const tovo::OpenFileReference& f) const noexcept {
    std::size_t seed = 0;
    tovo::hashCombine(seed, f.path);
    tovo::hashCombine(seed, f.descriptor);
    tovo::hashCombine(seed, f.fileType);
    tovo::hashCombine(seed, static_cast<int>(f.access));
    return seed;
}

std::size_t
std::hash<tovo::ParentApplication>::operator()(const tovo::ParentApplication& a) const noexcept {
    std::size_t seed = 0;
    tovo::hashCombine(seed, a.pid);
    tovo::hashCombine(seed, a.name);
    tovo::hashCombine(seed, a.bundleIdentifier);
    return seed;
}

std::size_t
std::hash<tovo::ProcessStartTime>::operator()(const tovo::ProcessStartTime& t) const noexcept {
    std::size_t seed = 0;
    tovo::hashCombine(seed, t.seconds);
    tovo::hashCombine(seed, t.microseconds);
    return seed;
}

std::size_t
std::hash<tovo::BlockingProcess>::operator()(const tovo::BlockingProcess& p) const noexcept {
    std::size_t seed = 0;
    tovo::hashCombine(seed, p.pid);
    tovo::hashCombine(seed, p.parentPID);
    tovo::hashCombine(seed, p.command);
    tovo::hashCombine(seed, p.userID);
    tovo::hashCombine(seed, p.loginName);
    tovo::hashCombine(seed, p.openFiles);
    tovo::hashCombine(seed, p.executablePath);
    tovo::hashCombine(seed, p.startTime);
    tovo::hashCombine(seed, p.isSystemDissent);
    tovo::hashCombine(seed, p.parentApplication);
    return seed;
}
