#pragma once

#include "TovoCore/Services/TovoServices.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"
#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <cstdint>
#include <memory>

namespace tovo {

/// Plans whether Tovo may politely ask each blocker to quit, and later asks the
/// approved ones, each after a fresh identity check. Never sends a signal.
class GracefulProcessReleaser final : public ProcessReleasing {
public:
    GracefulProcessReleaser(std::uint32_t currentUserID, std::int32_t currentProcessID,
                            std::shared_ptr<const ProcessMetadataProviding> metadataProvider,
                            std::shared_ptr<ApplicationRegistry> registry);

    std::vector<ProcessReleasePlan>
    planRelease(const std::vector<BlockingProcess>& processes) const override;
    Task<std::vector<ReleaseAttempt>>
    requestRelease(std::vector<BlockingProcess> processes) override;

    ProcessReleasePlan plan(const BlockingProcess& process) const;

private:
    ReleaseAttempt request(const BlockingProcess& process);

    std::uint32_t currentUserID_;
    std::int32_t currentProcessID_;
    std::shared_ptr<const ProcessMetadataProviding> metadataProvider_;
    std::shared_ptr<ApplicationRegistry> registry_;
};

} // namespace tovo
