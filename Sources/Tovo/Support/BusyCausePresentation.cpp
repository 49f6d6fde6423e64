#include "Tovo/Support/BusyCausePresentation.hpp"

#include "Tovo/Support/Typography.hpp"

#include <algorithm>

namespace tovo::BusyCausePresentation {

namespace {

std::string holderTitle(const BusyCause& cause) {
    switch (cause.holderKind.value_or(HolderKind::deviceMapper)) {
    case HolderKind::encrypted:
        return "Encrypted volume";
    case HolderKind::logicalVolume:
        return "Logical volume";
    case HolderKind::raid:
        return "RAID array";
    case HolderKind::deviceMapper:
        break;
    }
    return "Mapped device";
}

std::string holderSentence(const BusyCause& cause) {
    const auto& device = cause.subject;
    switch (cause.holderKind.value_or(HolderKind::deviceMapper)) {
    case HolderKind::encrypted:
        return "An encrypted volume on this disk is unlocked as " + device + ".";
    case HolderKind::logicalVolume:
        return "A logical volume on this disk is active as " + device + ".";
    case HolderKind::raid:
        return "This disk is part of the RAID array " + device + ".";
    case HolderKind::deviceMapper:
        break;
    }
    return "The system has built the device " + device + " on this disk.";
}

std::string namespaceHolder(const BusyCause& cause) {
    auto holder = cause.processName ? curlyQuoted(*cause.processName) : std::string("a program");
    if (cause.processID) {
        holder += " (process " + std::to_string(*cause.processID) + ")";
    }
    return holder;
}

} // namespace

std::string title(const BusyCause& cause) {
    switch (cause.kind) {
    case BusyCauseKind::nestedMount:
        return "File system inside this disk";
    case BusyCauseKind::bindMount:
        return "Second mount";
    case BusyCauseKind::swap:
        return "Swap";
    case BusyCauseKind::loopDevice:
        return "Disk image";
    case BusyCauseKind::holderDevice:
        return holderTitle(cause);
    case BusyCauseKind::networkExport:
        return "Network share";
    case BusyCauseKind::otherNamespace:
        return "Container or sandbox";
    case BusyCauseKind::unseenProcesses:
        break;
    }
    return "Processes Tovo cannot see";
}

std::string sentence(const BusyCause& cause) {
    const auto& subject = cause.subject;
    switch (cause.kind) {
    case BusyCauseKind::nestedMount:
        return "Another file system is mounted inside this disk at " + curlyQuoted(subject) + ".";
    case BusyCauseKind::bindMount:
        return "A folder of this disk is also mounted at " + curlyQuoted(subject) + ".";
    case BusyCauseKind::swap:
        return subject.starts_with("/dev/") ? "Part of this disk is used as swap."
                                            : "A file on this disk is used as swap.";
    case BusyCauseKind::loopDevice:
        return "A disk image from this disk is attached as " + subject + ".";
    case BusyCauseKind::holderDevice:
        return holderSentence(cause);
    case BusyCauseKind::networkExport:
        return "A folder of this disk is shared over the network: " + curlyQuoted(subject) + ".";
    case BusyCauseKind::otherNamespace:
        return "This disk is still mounted inside a container or sandbox of " +
               namespaceHolder(cause) + ".";
    case BusyCauseKind::unseenProcesses:
        break;
    }
    return "A process of another user or of the system may be using this disk. Tovo is not "
           "allowed to see it.";
}

std::string symbol(BusyCauseKind kind) {
    switch (kind) {
    case BusyCauseKind::otherNamespace:
        return "shippingbox.fill";
    case BusyCauseKind::unseenProcesses:
        return "magnifyingglass";
    default:
        return "externaldrive.fill";
    }
}

std::optional<std::string> reviewAction(const BusyCause& cause) {
    if (cause.plan.action == BusyCauseAction::none) {
        return std::nullopt;
    }
    return cause.plan.message;
}

std::optional<BusyCauseAttempt> latestAttemptFor(const BusyCause& cause,
                                                 const std::vector<BusyCauseAttempt>& attempts) {
    const auto key = cause.key();
    const auto found = std::find_if(attempts.rbegin(), attempts.rend(),
                                    [&](const auto& attempt) { return attempt.causeKey == key; });
    return found == attempts.rend() ? std::nullopt : std::optional(*found);
}

BusyCauseRowContent row(const BusyCause& cause, const std::optional<BusyCauseAttempt>& attempt) {
    const bool tovoActs = cause.plan.action != BusyCauseAction::none;
    auto statusSymbol = tovoActs ? "arrow.right.circle.fill" : "exclamationmark.circle.fill";
    auto color = tovoActs ? SymbolColor::green : SymbolColor::orange;
    if (attempt && attempt->disposition == ReleaseDisposition::failed) {
        statusSymbol = "xmark.circle.fill";
        color = SymbolColor::red;
    }
    std::vector<std::string> details;
    if (!cause.device.empty()) {
        details.push_back("On /dev/" + cause.device);
    }
    if (cause.backingFile) {
        details.push_back("Image file: " + *cause.backingFile);
    }
    if (cause.kind == BusyCauseKind::otherNamespace && !cause.subject.empty()) {
        details.push_back("Mounted there at " + cause.subject);
    }
    if (details.empty()) {
        details.emplace_back("The system reported nothing more.");
    }
    return BusyCauseRowContent{cause.key(),
                               title(cause),
                               sentence(cause),
                               symbol(cause.kind),
                               statusSymbol,
                               color,
                               attempt ? attempt->message : cause.plan.message,
                               std::move(details)};
}

std::vector<BusyCauseRowContent> rows(const std::vector<BusyCause>& causes,
                                      const std::vector<BusyCauseAttempt>& attempts) {
    std::vector<BusyCauseRowContent> result;
    result.reserve(causes.size());
    for (const auto& cause : causes) {
        result.push_back(row(cause, latestAttemptFor(cause, attempts)));
    }
    return result;
}

std::string plainText(const BusyCause& cause) {
    const auto content = row(cause, std::nullopt);
    auto text = content.sentence + "\n" + content.message;
    for (const auto& line : content.detailLines) {
        text += "\n" + line;
    }
    return text;
}

} // namespace tovo::BusyCausePresentation
