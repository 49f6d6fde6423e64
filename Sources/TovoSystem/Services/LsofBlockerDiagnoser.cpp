#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"

#include "TovoSystem/Services/DiagnosisError.hpp"

#include <algorithm>
#include <unordered_map>

namespace tovo {

LsofBlockerDiagnoser::LsofBlockerDiagnoser(
    std::shared_ptr<CommandRunning> runner, LsofFieldParser parser,
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider, std::int32_t ownPID)
    : runner_(std::move(runner))
    , parser_(parser)
    , metadataProvider_(std::move(metadataProvider))
    , ownPID_(ownPID) {}

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

Task<std::vector<BlockingProcess>> LsofBlockerDiagnoser::blockers(ExternalDisk disk) {
    // Named tasks throughout: GCC 12 mishandles temporaries inside co_await.
    auto task = blockers(std::move(disk), std::nullopt);
    co_return co_await task;
}

Task<std::vector<BlockingProcess>>
LsofBlockerDiagnoser::blockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID) {
    std::unordered_map<std::int32_t, BlockingProcess> byPID;
    std::vector<std::int32_t> order;
    const auto mountPaths = disk.mountURLs();
    const auto executable = mountPaths.empty() ? std::filesystem::path() : lsofExecutable();
    for (const auto& mountPath : mountPaths) {
        auto task = blockersOfMount(mountPath, executable);
        auto processes = co_await task;
        for (auto& process : processes) {
            const auto pid = process.pid;
            if (auto found = byPID.find(pid); found != byPID.end()) {
                found->second = found->second.merging(process);
            } else {
                order.push_back(pid);
                byPID.emplace(pid, std::move(process));
            }
        }
    }

    if (dissentingProcessID && *dissentingProcessID >= 2 && *dissentingProcessID != ownPID_ &&
        !byPID.contains(*dissentingProcessID)) {
        if (auto process = dissenter(*dissentingProcessID)) {
            order.push_back(process->pid);
            byPID.emplace(process->pid, std::move(*process));
        }
    }

    std::vector<BlockingProcess> result;
    result.reserve(order.size());
    for (const auto pid : order) {
        result.push_back(std::move(byPID.at(pid)));
    }
    co_return result;
}

Task<std::vector<BlockingProcess>>
LsofBlockerDiagnoser::blockersOfMount(std::filesystem::path mountPath,
                                      std::filesystem::path executable) {
    auto task = runner_->run(std::move(executable), lsofArguments(mountPath));
    const auto run = co_await task;
    auto parsed = parser_.parse(run.standardOutput);
    std::erase_if(parsed,
                  [this](const BlockingProcess& process) { return process.pid == ownPID_; });
    std::vector<BlockingProcess> processes;
    processes.reserve(parsed.size());
    for (const auto& process : parsed) {
        processes.push_back(enriched(process));
    }

    if (run.status != 0) {
        const auto errorText = run.errorText();
        // A partial list is never taken for the whole truth.
        if (!processes.empty()) {
            throw DiagnosisError(DiagnosisError::Kind::incompleteOutput, errorText);
        }
        // lsof says "nothing open" by exiting 1 quietly.
        if (run.status != 1 || !errorText.empty()) {
            throw DiagnosisError(DiagnosisError::Kind::lsofFailed, errorText);
        }
    }
    co_return processes;
}

BlockingProcess LsofBlockerDiagnoser::enriched(const BlockingProcess& process) const {
    const auto metadata = metadataProvider_->metadata(process.pid);
    if (!metadata) {
        return process;
    }
    return process.withExecutionIdentity(metadata->executablePath, metadata->startTime,
                                         metadataProvider_->parentApplication(process.pid));
}

std::optional<BlockingProcess> LsofBlockerDiagnoser::dissenter(std::int32_t pid) const {
    const auto metadata = metadataProvider_->metadata(pid);
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
                           metadataProvider_->parentApplication(pid)};
}

} // namespace tovo
