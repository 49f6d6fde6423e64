#pragma once

#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"
#include "TovoCore/Services/WriteOutMonitoring.hpp"

#include <optional>
#include <string>

namespace tovo {

/// What the window has seen of the write-out during the eject under way.
struct WriteOutProgress {
    WriteOutSample latest;
    /// Some sample of this eject found the disk being written.
    bool hasWritten;

    bool operator==(const WriteOutProgress&) const = default;
};

/// The part of the ejecting card that tells about data still on its way to the disk.
struct WriteOutNotice {
    std::string title;
    std::string detail;  ///< how much is left and how fast it goes
    std::string warning; ///< never "you can unplug": that is said only after the eject

    bool operator==(const WriteOutNotice&) const = default;
};

/// The question asked before the window closes during an eject.
struct CloseQuestion {
    std::string title;
    std::string text;
    std::string informativeText;
    std::string quitTitle;
    std::string stayTitle; ///< the default answer

    bool operator==(const CloseQuestion&) const = default;
};

namespace WriteOutPresentation {

/// Shown while the phase is an eject (ejecting or retrying) once a sample found the disk
/// being written, and kept until the phase moves on, when udisks2 has answered.
std::optional<WriteOutNotice> notice(const EjectionPhase& phase,
                                     const std::optional<ExternalDisk>& disk,
                                     const std::optional<WriteOutProgress>& progress);

/// The sentence for assistive technology when the notice first appears; none otherwise.
std::optional<std::string> announcement(const std::optional<WriteOutNotice>& before,
                                        const std::optional<WriteOutNotice>& now,
                                        const std::optional<ExternalDisk>& disk);

/// Asked before closing while an eject runs: a stronger question while the disk is
/// being written. None in every other phase.
std::optional<CloseQuestion> closeQuestion(const EjectionPhase& phase,
                                           const std::optional<ExternalDisk>& disk,
                                           const std::optional<WriteOutProgress>& progress);

} // namespace WriteOutPresentation

} // namespace tovo
