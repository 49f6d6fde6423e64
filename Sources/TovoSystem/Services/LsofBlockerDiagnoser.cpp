#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoCore/Async/CancellationError.hpp"
#include "TovoCore/Models/Error.hpp"
#include "TovoCore/Services/Utf8.hpp"
#include "TovoSystem/Services/DiagnosisError.hpp"
#include "TovoSystem/Services/LsofWarningFilter.hpp"

#include <algorithm>
#include <cerrno>
#include <unordered_map>

namespace tovo {

namespace {

/// The kernel keeps 15 bytes of a command name.
constexpr std::size_t kernelCommandLength = 15;

/// lsof's complaint about a path that is not (any longer) a mount point.
constexpr std::string_view notAFileSystem = "lsof: not a file system: ";

std::string mountPointText(const std::filesystem::path& path) {
    auto text = path.native();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

std::vector<MountEntry> mountsAt(const std::vector<MountEntry>& table,
                                 const std::filesystem::path& path) {
    const auto text = mountPointText(path);
    std::vector<MountEntry> entries;
    std::ranges::copy_if(table, std::back_inserter(entries),
                         [&text](const MountEntry& entry) { return entry.mountPoint == text; });
    return entries;
}

/// A launch error that means the program is missing or cannot be run, as opposed to
/// a shortage of memory or processes.
bool isUnusableProgram(const std::system_error& error) {
    switch (error.code().value()) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case EPERM:
    case ENOEXEC:
    case ELIBBAD:
    case ELOOP:
        return true;
    default:
        return false;
    }
}

/// Where `line` starts as a whole line of `text`.
std::size_t lineStart(const std::string& text, const std::string& line) {
    for (auto at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
        const auto end = at + line.size();
        if ((at == 0 || text[at - 1] == '\n') && (end == text.size() || text[end] == '\n')) {
            return at;
        }
    }
    return std::string::npos;
}

bool isWithin(const std::string& name, const std::string& folder) {
    return name == folder || (name.size() > folder.size() && name.starts_with(folder) &&
                              (folder.back() == '/' || name[folder.size()] == '/'));
}

/// The processes of one lsof run over several volumes, split by volume as separate runs
/// would list them: each file goes with the volume whose path (as lsof prints it) is the
/// longest to hold its name, one that none holds with the first volume still mounted.
std::vector<std::vector<BlockingProcess>>
byVolume(const std::vector<BlockingProcess>& processes,
         const std::vector<std::vector<std::string>>& renderings,
         const std::vector<bool>& dropped) {
    std::vector<std::vector<BlockingProcess>> result(renderings.size());
    const auto first =
        static_cast<std::size_t>(std::ranges::find(dropped, false) - dropped.begin());
    if (first >= renderings.size()) {
        return result;
    }
    const auto volumeOf = [&](const std::string& name) {
        std::size_t best = first;
        std::size_t longest = 0;
        for (std::size_t index = 0; index < renderings.size(); ++index) {
            for (const auto& path : renderings[index]) {
                if (!dropped[index] && path.size() > longest && isWithin(name, path)) {
                    best = index;
                    longest = path.size();
                }
            }
        }
        return best;
    };
    for (const auto& process : processes) {
        std::vector<std::vector<OpenFileReference>> files(renderings.size());
        for (const auto& file : process.openFiles) {
            files[volumeOf(file.path)].push_back(file);
        }
        bool placed = false;
        for (std::size_t index = 0; index < renderings.size(); ++index) {
            if (!files[index].empty()) {
                auto part = process;
                part.openFiles = std::move(files[index]);
                result[index].push_back(std::move(part));
                placed = true;
            }
        }
        if (!placed) {
            result[first].push_back(process);
        }
    }
    return result;
}

/// Processes by pid, in the order of first sight.
class MergedProcesses {
public:
    void add(BlockingProcess process) {
        const auto pid = process.pid;
        if (auto found = byPID_.find(pid); found != byPID_.end()) {
            found->second = found->second.merging(process);
        } else {
            order_.push_back(pid);
            byPID_.emplace(pid, std::move(process));
        }
    }
    bool contains(std::int32_t pid) const { return byPID_.contains(pid); }
    bool empty() const { return order_.empty(); }
    std::vector<BlockingProcess> take() {
        std::vector<BlockingProcess> result;
        result.reserve(order_.size());
        for (const auto pid : order_) {
            result.push_back(std::move(byPID_.at(pid)));
        }
        return result;
    }

private:
    std::unordered_map<std::int32_t, BlockingProcess> byPID_;
    std::vector<std::int32_t> order_;
};

} // namespace

LsofBlockerDiagnoser::LsofBlockerDiagnoser(
    Executor& executor, std::shared_ptr<CommandRunning> runner, LsofFieldParser parser,
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
    std::shared_ptr<const OpenFileScanning> scanner, std::int32_t ownPID,
    std::optional<std::filesystem::path> lsof)
    : executor_(executor)
    , runner_(std::move(runner))
    , parser_(parser)
    , metadataProvider_(std::move(metadataProvider))
    , scanner_(std::move(scanner))
    , ownPID_(ownPID)
    , lsof_(std::move(lsof)) {}

std::filesystem::path LsofBlockerDiagnoser::lsofExecutable() {
    const std::filesystem::path candidates[] = {"/usr/bin/lsof", "/usr/sbin/lsof"};
    for (const auto& candidate : candidates) {
        std::error_code error;
        if (std::filesystem::exists(candidate, error)) {
            return candidate;
        }
    }
    return candidates[0];
}

std::vector<std::string>
LsofBlockerDiagnoser::lsofArguments(const std::filesystem::path& mountPath) {
    return lsofArguments(std::vector<std::filesystem::path>(1, mountPath));
}

std::vector<std::string>
LsofBlockerDiagnoser::lsofArguments(const std::vector<std::filesystem::path>& mountPaths) {
    std::vector<std::string> arguments{"-S", "2", "-nP", "-F0pcuLftanR", "+c", "0", "+f", "--"};
    for (const auto& path : mountPaths) {
        arguments.push_back(path.string());
    }
    return arguments;
}

std::string LsofBlockerDiagnoser::reconciledCommand(const std::string& lsofCommand,
                                                    const std::string& kernelCommand) {
    if (kernelCommand.size() >= kernelCommandLength && lsofCommand.starts_with(kernelCommand)) {
        return lsofCommand;
    }
    return decodeUtf8Lossy(kernelCommand);
}

Task<std::vector<BlockingProcess>> LsofBlockerDiagnoser::blockers(ExternalDisk disk) {
    // Named tasks throughout: GCC 12 mishandles temporaries inside co_await.
    auto task = blockers(std::move(disk), std::nullopt);
    co_return co_await task;
}

Task<std::vector<BlockingProcess>>
LsofBlockerDiagnoser::blockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID) {
    // lsof, its parsing and every /proc read stay off the main thread.
    auto task = runInBackground(
        executor_, [this, disk = std::move(disk), dissentingProcessID](std::stop_token stop) {
            return diagnose(disk, dissentingProcessID, stop);
        });
    co_return co_await task;
}

std::vector<BlockingProcess>
LsofBlockerDiagnoser::diagnose(const ExternalDisk& disk,
                               std::optional<std::int32_t> dissentingProcessID,
                               const std::stop_token& stop) const {
    // One look-up of the boot time, and of each parent and application, for all holders.
    const auto session = metadataProvider_->forOneDiagnosis();
    const auto& metadata = session ? *session : *metadataProvider_;
    MergedProcesses merged;
    const auto mountPaths = disk.mountURLs();
    if (!mountPaths.empty()) {
        const auto executable = lsof_ ? *lsof_ : lsofExecutable();
        const auto table = scanner_->mounts();
        // A volume unmounted before the busy one refused holds nothing any more.
        std::vector<std::filesystem::path> paths;
        std::vector<std::vector<MountEntry>> entries;
        for (const auto& mountPath : mountPaths) {
            if (auto found = mountsAt(table, mountPath); !found.empty()) {
                paths.push_back(mountPath);
                entries.push_back(std::move(found));
            }
        }
        std::vector<MountEntry> inspected;
        if (!paths.empty()) {
            auto perVolume = blockersOfMounts(paths, executable, stop, metadata);
            for (std::size_t index = 0; index < paths.size(); ++index) {
                if (!perVolume[index]) {
                    continue;
                }
                inspected.insert(inspected.end(), entries[index].begin(), entries[index].end());
                for (auto& process : *perVolume[index]) {
                    merged.add(std::move(process));
                }
            }
        }

        // lsof leaves out some processes (a "(" in the command); the kernel's own
        // tables name them.
        if (merged.empty() && !inspected.empty()) {
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            for (const auto& process : scanner_->holders(inspected)) {
                if (process.pid == ownPID_) {
                    continue;
                }
                if (auto live = enriched(process, metadata)) {
                    merged.add(std::move(*live));
                }
            }
        }
    }

    if (dissentingProcessID && *dissentingProcessID >= 2 && *dissentingProcessID != ownPID_ &&
        !merged.contains(*dissentingProcessID)) {
        if (auto process = dissenter(*dissentingProcessID, metadata)) {
            merged.add(std::move(*process));
        }
    }
    return merged.take();
}

std::vector<std::optional<std::vector<BlockingProcess>>> LsofBlockerDiagnoser::blockersOfMounts(
    const std::vector<std::filesystem::path>& paths, const std::filesystem::path& executable,
    const std::stop_token& stop, const ProcessMetadataProviding& metadata) const {
    CommandResult run;
    try {
        run = runner_->runSynchronously(executable, lsofArguments(paths), stop);
    } catch (const CommandLaunchError& error) {
        if (!isUnusableProgram(error)) {
            throw;
        }
        throw DiagnosisError(DiagnosisError::Kind::lsofMissing, error.what());
    }

    // A volume unmounted while lsof ran is "not a file system" now: only it drops out.
    std::vector<std::vector<std::string>> renderings;
    std::vector<std::string> texts;
    std::vector<bool> dropped(paths.size(), false);
    auto standardError = run.standardError;
    for (std::size_t index = 0; index < paths.size(); ++index) {
        texts.push_back(paths[index].native());
        renderings.push_back(LsofWarningFilter::renderings(texts.back()));
        for (const auto& rendering : renderings.back()) {
            const auto line = std::string(notAFileSystem) + rendering;
            const auto at = lineStart(standardError, line);
            if (at != std::string::npos && !isMounted(paths[index])) {
                standardError.erase(at, std::min(line.size() + 1, standardError.size() - at));
                dropped[index] = true;
                break;
            }
        }
    }
    const bool warned = !trimmed(decodeUtf8Lossy(standardError)).empty();
    // Exit-status rules apply to what is left once warnings about other mounts are gone.
    const auto errorText =
        trimmed(decodeUtf8Lossy(LsofWarningFilter(texts).filtered(standardError)));
    auto parsed = parser_.parse(run.standardOutput);
    std::erase_if(parsed,
                  [this](const BlockingProcess& process) { return process.pid == ownPID_; });
    auto perVolume = byVolume(parsed, renderings, dropped);

    const bool remaining = std::ranges::find(dropped, false) != dropped.end();
    if (run.status != 0) {
        if (!parsed.empty()) {
            // lsof says 1 when one of several volumes has nobody on it; anything else
            // means a partial list, never taken for the whole truth.
            bool idle = std::ranges::find(dropped, true) != dropped.end();
            for (std::size_t index = 0; index < paths.size(); ++index) {
                idle = idle || (!dropped[index] && perVolume[index].empty());
            }
            if (run.status != 1 || warned || !remaining || !idle) {
                throw DiagnosisError(DiagnosisError::Kind::incompleteOutput, errorText);
            }
        } else if (remaining && (run.status != 1 || !errorText.empty())) {
            // lsof says "nothing open" by exiting 1 quietly.
            throw DiagnosisError(DiagnosisError::Kind::lsofFailed, errorText);
        }
    }

    std::vector<std::optional<std::vector<BlockingProcess>>> result(paths.size());
    for (std::size_t index = 0; index < paths.size(); ++index) {
        if (dropped[index]) {
            continue;
        }
        result[index].emplace();
        for (const auto& process : perVolume[index]) {
            if (auto live = enriched(process, metadata)) {
                result[index]->push_back(std::move(*live));
            }
        }
    }
    return result;
}

bool LsofBlockerDiagnoser::isMounted(const std::filesystem::path& mountPath) const {
    return !mountsAt(scanner_->mounts(), mountPath).empty();
}

std::optional<BlockingProcess>
LsofBlockerDiagnoser::enriched(const BlockingProcess& process,
                               const ProcessMetadataProviding& provider) const {
    const auto metadata = provider.metadata(process.pid);
    if (!metadata) {
        return std::nullopt;
    }
    auto live = process.withExecutionIdentity(metadata->executablePath, metadata->startTime,
                                              provider.parentApplication(process.pid));
    // lsof misreads /proc/<pid>/stat when the command holds a ")"; identity checks
    // compare against the kernel's parent.
    live.parentPID = metadata->parentPID;
    if (const auto name = scanner_->commandName(process.pid)) {
        live.command = reconciledCommand(live.command, *name);
    }
    return live;
}

std::optional<BlockingProcess>
LsofBlockerDiagnoser::dissenter(std::int32_t pid, const ProcessMetadataProviding& provider) const {
    const auto metadata = provider.metadata(pid);
    if (!metadata) {
        return std::nullopt;
    }
    return BlockingProcess{pid,
                           metadata->parentPID,
                           metadata->command,
                           metadata->userID,
                           std::nullopt,
                           {},
                           metadata->executablePath,
                           metadata->startTime,
                           true,
                           provider.parentApplication(pid)};
}

} // namespace tovo
