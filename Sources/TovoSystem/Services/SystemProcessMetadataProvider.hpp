#pragma once

#include "TovoSystem/Linux/ProcFileSystem.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"
#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <map>
#include <memory>
#include <mutex>

namespace tovo {

/// Who a process is right now, read live from /proc and the application
/// registry. Stateless; callable from any thread.
class SystemProcessMetadataProvider final : public ProcessMetadataProviding {
public:
    /// How far up the ancestry `parentApplication` looks.
    static constexpr int maximumAncestorSteps = 12;

    /// A null `registry` knows no applications.
    explicit SystemProcessMetadataProvider(std::shared_ptr<const ApplicationRegistry> registry,
                                           ProcFileSystem proc = ProcFileSystem());

    std::optional<ProcessMetadata> metadata(std::int32_t pid) const override;
    /// The nearest ancestor (never the process itself) that is a shown application.
    std::optional<ParentApplication> parentApplication(std::int32_t pid) const override;
    /// A provider that reads the boot time once and each process's kernel facts and
    /// application once, shared by every holder of one diagnosis.
    std::shared_ptr<const ProcessMetadataProviding> forOneDiagnosis() const override;

private:
    struct Memo;
    struct KernelInfo {
        std::int32_t parentPID;
        std::uint32_t userID;
        ProcessStartTime startTime;
    };

    /// Parent, real user and start time together, or none when any is unreadable.
    std::optional<KernelInfo> kernelInfo(std::int32_t pid) const;
    std::optional<RunningApplication> runningApplication(std::int32_t pid) const;
    std::optional<std::string> runningApplicationName(std::int32_t pid) const;
    std::optional<std::string> processName(std::int32_t pid) const;
    std::optional<std::string> executablePath(std::int32_t pid) const;

    std::shared_ptr<const ApplicationRegistry> registry_;
    ProcFileSystem proc_;
    std::shared_ptr<Memo> memo_; ///< only in a provider for one diagnosis
};

} // namespace tovo
