#pragma once

#include "TovoCore/Services/LsofFieldParser.hpp"
#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Services/CommandRunning.hpp"
#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace tovo {

/// Finds the processes that keep a disk busy: one `lsof` run per mount point,
/// parsed, without Tovo itself, enriched with each process's live identity and
/// merged by pid in first-seen order; the process the system named comes last.
class LsofBlockerDiagnoser final : public DissentAwareBlockerDiagnosing {
public:
    LsofBlockerDiagnoser(std::shared_ptr<CommandRunning> runner, LsofFieldParser parser,
                         std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
                         std::int32_t ownPID = ::getpid());

    Task<std::vector<BlockingProcess>> blockers(ExternalDisk disk) override;
    Task<std::vector<BlockingProcess>>
    blockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID) override;

    /// The first of /usr/bin/lsof and /usr/sbin/lsof that exists (the first when neither).
    static std::filesystem::path lsofExecutable();
    static std::vector<std::string> lsofArguments(const std::filesystem::path& mountPath);

private:
    /// The processes of one mount point, enriched and judged by the exit status.
    Task<std::vector<BlockingProcess>> blockersOfMount(std::filesystem::path mountPath,
                                                       std::filesystem::path executable);
    BlockingProcess enriched(const BlockingProcess& process) const;
    std::optional<BlockingProcess> dissenter(std::int32_t pid) const;

    std::shared_ptr<CommandRunning> runner_;
    LsofFieldParser parser_;
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider_;
    std::int32_t ownPID_;
};

} // namespace tovo
