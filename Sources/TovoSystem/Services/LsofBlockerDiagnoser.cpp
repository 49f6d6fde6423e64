#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"

#include "TovoCore/Async/Background.hpp"
#include "TovoCore/Async/CancellationError.hpp"
#include "TovoCore/Models/Error.hpp"
#include "TovoCore/Services/Utf8.hpp"
#include "TovoSystem/Services/DiagnosisError.hpp"
#include "TovoSystem/Services/LsofWarningFilter.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <thread>
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
    return {"-S", "2", "-nP", "-F0pcuLftanR", "+c", "0", "+f", "--", mountPath.string()};
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
        auto runs = runLsof(paths, executable, stop);
        std::vector<MountEntry> inspected;
        for (std::size_t index = 0; index < paths.size(); ++index) {
            auto processes = blockersOfMount(paths[index], runs[index], metadata);
            if (!processes) {
                continue;
            }
            inspected.insert(inspected.end(), entries[index].begin(), entries[index].end());
            for (auto& process : *processes) {
                merged.add(std::move(process));
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

std::vector<LsofBlockerDiagnoser::LsofRun>
LsofBlockerDiagnoser::runLsof(const std::vector<std::filesystem::path>& paths,
                              const std::filesystem::path& executable,
                              const std::stop_token& stop) const {
    std::vector<LsofRun> runs(paths.size());
    const auto run = [&](std::size_t index) {
        try {
            runs[index].result =
                runner_->runSynchronously(executable, lsofArguments(paths[index]), stop);
        } catch (...) {
            runs[index].error = std::current_exception();
        }
    };
    // Each lsof walks every open file of the system: side by side they take as long
    // as one. The first runs on this thread.
    std::vector<std::jthread> others;
    others.reserve(paths.size() > 1 ? paths.size() - 1 : 0);
    for (std::size_t index = 1; index < paths.size(); ++index) {
        others.emplace_back(run, index);
    }
    if (!paths.empty()) {
        run(0);
    }
    others.clear();
    return runs;
}

std::optional<std::vector<BlockingProcess>>
LsofBlockerDiagnoser::blockersOfMount(const std::filesystem::path& mountPath, LsofRun& lsofRun,
                                      const ProcessMetadataProviding& metadata) const {
    if (lsofRun.error) {
        try {
            std::rethrow_exception(lsofRun.error);
        } catch (const CommandLaunchError& error) {
            if (!isUnusableProgram(error)) {
                throw;
            }
            throw DiagnosisError(DiagnosisError::Kind::lsofMissing, error.what());
        }
    }
    const auto& run = lsofRun.result;

    // Exit-status rules apply to what is left once warnings about other mounts are gone.
    const auto errorText =
        trimmed(decodeUtf8Lossy(LsofWarningFilter(mountPath.native()).filtered(run.standardError)));
    auto parsed = parser_.parse(run.standardOutput);
    std::erase_if(parsed,
                  [this](const BlockingProcess& process) { return process.pid == ownPID_; });

    if (run.status != 0) {
        // A partial list is never taken for the whole truth.
        if (!parsed.empty()) {
            throw DiagnosisError(DiagnosisError::Kind::incompleteOutput, errorText);
        }
        // lsof says "nothing open" by exiting 1 quietly.
        if (run.status != 1 || !errorText.empty()) {
            if (errorText.find(notAFileSystem) != std::string::npos && !isMounted(mountPath)) {
                return std::nullopt;
            }
            throw DiagnosisError(DiagnosisError::Kind::lsofFailed, errorText);
        }
    }

    std::vector<BlockingProcess> processes;
    processes.reserve(parsed.size());
    for (const auto& process : parsed) {
        if (auto live = enriched(process, metadata)) {
            processes.push_back(std::move(*live));
        }
    }
    return processes;
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
