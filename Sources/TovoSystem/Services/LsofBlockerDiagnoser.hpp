#pragma once

#include "TovoCore/Async/Executor.hpp"
#include "TovoCore/Services/LsofFieldParser.hpp"
#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Linux/ProcOpenFileScanner.hpp"
#include "TovoSystem/Services/CommandRunning.hpp"
#include "TovoSystem/Services/OpenFileScanning.hpp"
#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <unistd.h>
#include <vector>

namespace tovo {

/// Finds the processes that keep a disk busy: one `lsof` run over every mount point
/// that is still mounted (lsof walks every open file of the system, so one walk over
/// several volumes costs what one volume's does), split by volume, without Tovo
/// itself, checked against /proc (parent, command), enriched with each process's live
/// identity and merged by pid in the order of the volumes, then of first sight; the
/// process the system named comes last. When lsof names nobody, /proc is searched for
/// holders it missed. All of it runs on a worker thread.
class LsofBlockerDiagnoser final : public DissentAwareBlockerDiagnosing {
public:
    /// `lsof` none: the first of /usr/bin/lsof and /usr/sbin/lsof, looked up at each
    /// diagnosis.
    LsofBlockerDiagnoser(
        Executor& executor, std::shared_ptr<CommandRunning> runner, LsofFieldParser parser,
        std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
        std::shared_ptr<const OpenFileScanning> scanner = std::make_shared<ProcOpenFileScanner>(),
        std::int32_t ownPID = ::getpid(), std::optional<std::filesystem::path> lsof = std::nullopt);

    Task<std::vector<BlockingProcess>> blockers(ExternalDisk disk) override;
    Task<std::vector<BlockingProcess>>
    blockers(ExternalDisk disk, std::optional<std::int32_t> dissentingProcessID) override;

    /// The first of /usr/bin/lsof and /usr/sbin/lsof that exists (the first when neither).
    static std::filesystem::path lsofExecutable();
    static std::vector<std::string> lsofArguments(const std::filesystem::path& mountPath);
    /// One run over several mount points: lsof walks the system's open files once.
    static std::vector<std::string>
    lsofArguments(const std::vector<std::filesystem::path>& mountPaths);
    /// The kernel's name of a process when lsof's differs from it, unless the kernel's
    /// is lsof's cut to 15 bytes. lsof escapes unprintable bytes and misreads names
    /// with parentheses.
    static std::string reconciledCommand(const std::string& lsofCommand,
                                         const std::string& kernelCommand);

private:
    std::vector<BlockingProcess> diagnose(const ExternalDisk& disk,
                                          std::optional<std::int32_t> dissentingProcessID,
                                          const std::stop_token& stop) const;
    /// One lsof run over every volume still mounted, judged by its exit status and
    /// split by volume; none for a volume that went away while lsof ran.
    std::vector<std::optional<std::vector<BlockingProcess>>>
    blockersOfMounts(const std::vector<std::filesystem::path>& paths,
                     const std::filesystem::path& executable, const std::stop_token& stop,
                     const ProcessMetadataProviding& metadata) const;
    bool isMounted(const std::filesystem::path& mountPath) const;
    /// None when the process has ended since it was listed: it holds nothing any more.
    std::optional<BlockingProcess> enriched(const BlockingProcess& process,
                                            const ProcessMetadataProviding& metadata) const;
    std::optional<BlockingProcess> dissenter(std::int32_t pid,
                                             const ProcessMetadataProviding& metadata) const;

    Executor& executor_;
    std::shared_ptr<CommandRunning> runner_;
    LsofFieldParser parser_;
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider_;
    std::shared_ptr<const OpenFileScanning> scanner_;
    std::int32_t ownPID_;
    std::optional<std::filesystem::path> lsof_;
};

} // namespace tovo
