#include "Tovo/Support/WriteOutPresentation.hpp"

#include "Tovo/Support/ByteCountFormat.hpp"
#include "Tovo/Support/Typography.hpp"

#include <limits>

namespace tovo::WriteOutPresentation {

namespace {

bool isEject(const EjectionPhase& phase) {
    return phase.is<EjectionPhase::Ejecting>() || phase.is<EjectionPhase::Retrying>();
}

std::string size(std::uint64_t bytes) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return formatByteCount(static_cast<std::int64_t>(std::min(bytes, largest)));
}

std::string quotedName(const std::optional<ExternalDisk>& disk) {
    return disk ? curlyQuoted(disk->displayName) : std::string("the disk");
}

std::string writingDetail(const WriteOutSample& sample) {
    const auto rate =
        sample.bytesPerSecond ? std::optional(size(*sample.bytesPerSecond) + "/s") : std::nullopt;
    if (sample.bytesLeft && sample.scope == WriteOutScope::disk) {
        return size(*sample.bytesLeft) + " left to write to this disk" +
               (rate ? ", at " + *rate : std::string()) + ".";
    }
    // The kernel tells only the system's total to an ordinary user: say so.
    std::string detail;
    if (sample.bytesLeft) {
        detail = size(*sample.bytesLeft) + " still to be written by the system, for all disks "
                                           "together.";
    }
    if (rate) {
        detail +=
            (detail.empty() ? "" : " ") + std::string("This disk is written at ") + *rate + ".";
    }
    return detail.empty() ? "Data is still on its way to this disk." : detail;
}

} // namespace

std::optional<WriteOutNotice> notice(const EjectionPhase& phase,
                                     const std::optional<ExternalDisk>& disk,
                                     const std::optional<WriteOutProgress>& progress) {
    if (!isEject(phase) || !progress || !progress->hasWritten) {
        return std::nullopt;
    }
    const std::string warning = "Do not unplug " + quotedName(disk) + " yet.";
    const auto& sample = progress->latest;
    if (sample.isWriting) {
        return WriteOutNotice{"Writing data to " + quotedName(disk), writingDetail(sample),
                              warning};
    }
    const bool allWritten = sample.scope == WriteOutScope::disk && sample.bytesLeft == 0u;
    return WriteOutNotice{"Finishing the eject",
                          (allWritten ? "All data for this disk is written."
                                      : "The disk is not being written right now.") +
                              std::string(" The system is finishing the eject."),
                          warning};
}

std::optional<std::string> announcement(const std::optional<WriteOutNotice>& before,
                                        const std::optional<WriteOutNotice>& now,
                                        const std::optional<ExternalDisk>& disk) {
    if (before || !now) {
        return std::nullopt;
    }
    return "Still writing data to " + (disk ? disk->displayName : std::string("the disk")) +
           ". Do not unplug it yet.";
}

std::optional<CloseQuestion> closeQuestion(const EjectionPhase& phase,
                                           const std::optional<ExternalDisk>& disk,
                                           const std::optional<WriteOutProgress>& progress) {
    if (!isEject(phase)) {
        return std::nullopt;
    }
    if (progress && progress->latest.isWriting) {
        return CloseQuestion{"Tovo", quotedName(disk) + " is still being written.",
                             "If you quit now, the system keeps writing, but Tovo cannot tell you "
                             "when the disk is safe to unplug. Do not unplug it before the data "
                             "is written.",
                             "Quit Anyway", "Keep Waiting"};
    }
    return CloseQuestion{"Tovo", "Tovo is still ejecting " + quotedName(disk) + ".",
                         "If you quit now, the system finishes the eject on its own, but you will "
                         "not see whether it succeeded. Do not unplug the disk until you know.",
                         "Quit Anyway", "Keep Waiting"};
}

} // namespace tovo::WriteOutPresentation
