#include "Tovo/Support/ServiceGraph.hpp"
#include "TovoCore/Services/LsofFieldParser.hpp"
#include "TovoSystem/Linux/JournalLogger.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystem/Services/GracefulProcessReleaser.hpp"
#include "TovoSystem/Services/KernelWriteOutMonitor.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemBusyCauseFinder.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemDiskIdentityValidator.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystem/Services/SystemVolumeProvider.hpp"
#include "TovoSystem/Services/UDisks2Unmounter.hpp"

#include <unistd.h>

namespace tovo {

namespace {

constexpr double commandTimeoutSeconds = 8.0;
constexpr std::uint64_t settleDelayNanoseconds = 1'200'000'000;
constexpr std::uint64_t releaseTimeoutNanoseconds = 5'000'000'000;

// The ejector holds its unmounter and identity validator by reference.
struct EjectorParts {
    explicit EjectorParts(Executor& executor)
        : identityProvider(executor)
        , validator(identityProvider)
        , unmounter(executor, std::nullopt, std::chrono::seconds(25), "/sys", &journal) {}
    SystemVolumeProvider identityProvider;
    SystemDiskIdentityValidator validator;
    JournalLogger journal; ///< each write-out's account
    UDisks2Unmounter unmounter;
};

} // namespace

ServiceGraph makeSystemServiceGraph(Executor& mainExecutor) {
    auto volumeProvider = std::make_shared<SystemVolumeProvider>(mainExecutor);
    // The identity check lists the disks again through a provider of its own.
    auto ejectorParts = std::make_shared<EjectorParts>(mainExecutor);
    auto ejector =
        std::make_shared<FileManagerDiskEjector>(ejectorParts->unmounter, ejectorParts->validator);

    auto registry = std::make_shared<DesktopApplicationRegistry>();
    auto metadata = std::make_shared<SystemProcessMetadataProvider>(registry);
    auto diagnoser = std::make_shared<LsofBlockerDiagnoser>(
        mainExecutor, std::make_shared<SystemCommandRunner>(mainExecutor, commandTimeoutSeconds),
        LsofFieldParser(), metadata);

    auto releaser = std::make_shared<GracefulProcessReleaser>(mainExecutor, ::getuid(), ::getpid(),
                                                              metadata, registry);
    auto stopper = std::make_shared<ExplicitProcessStopper>(mainExecutor, ::getuid(), ::getpid(),
                                                            metadata, registry);
    ServiceGraph system{volumeProvider,
                        ejector,
                        diagnoser,
                        releaser,
                        stopper,
                        settleDelayNanoseconds,
                        releaseTimeoutNanoseconds,
                        registry,
                        ejectorParts,
                        std::make_shared<KernelWriteOutMonitor>(mainExecutor)};
    system.causeFinder =
        std::make_shared<SystemBusyCauseFinder>(mainExecutor, std::make_shared<UDisks2CauseBus>());
    return system;
}

} // namespace tovo
