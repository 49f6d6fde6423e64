#pragma once

#include "Tovo/Support/PresentationColors.hpp"
#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoCore/Models/BusyCause.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// Which card the status panel shows.
enum class StatusViewKind { ready, emptyDisks, busy, blocked, success, failure };

/// What the status panel says for a phase. Busy cards show a progress indicator
/// instead of a symbol.
struct StatusContent {
    StatusViewKind kind;
    std::string title;
    std::string message;
    std::optional<std::string> symbol;
    std::optional<SymbolColor> symbolColor; ///< absent: the default text colour

    bool operator==(const StatusContent&) const = default;
};

namespace StatusPresentation {

/// The progress indicator's name for assistive technology.
inline constexpr const char* busyAccessibilityLabel = "Working";

/// The card, title and message for the phase; `disk` is the selected disk.
StatusContent content(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                      const std::vector<BlockingProcess>& blockers,
                      const std::vector<ProcessReleasePlan>& releasePlans,
                      const std::vector<BusyCause>& causes = {});

/// The window's card: as `content`, except that before the first listing of disks
/// has answered a ready window says it is looking rather than that there are none.
StatusContent windowContent(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                            const std::vector<BlockingProcess>& blockers,
                            const std::vector<ProcessReleasePlan>& releasePlans,
                            const std::vector<BusyCause>& causes, bool hasListedDisks);

/// The card's title and message as one text, for assistive technology.
std::string accessibleSummary(const StatusContent& content);

/// "One app or service is using this disk", or "N apps or services are using this disk";
/// with other causes, "One thing keeps this disk busy" or "N things keep this disk busy".
std::string blockedTitle(std::size_t blockerCount, std::size_t causeCount = 0);
/// Points to the review when Tovo can ask at least one app to quit, or take over a cause.
std::string blockedMessage(const std::vector<ProcessReleasePlan>& releasePlans,
                           const std::vector<BusyCause>& causes = {});

} // namespace StatusPresentation

} // namespace tovo
