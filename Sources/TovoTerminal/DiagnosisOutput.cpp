#include "TovoTerminal/DiagnosisOutput.hpp"

#include "Tovo/Support/BlockerRowPresentation.hpp"
#include "Tovo/Support/BusyCausePresentation.hpp"
#include "Tovo/Support/StatusPresentation.hpp"
#include "Tovo/Support/Typography.hpp"
#include "TovoTerminal/DiskListOutput.hpp"
#include "TovoTerminal/StatusOutput.hpp"

namespace tovo::DiagnosisOutput {

namespace {

StatusContent status(const DiskDiagnosis& diagnosis) {
    return StatusPresentation::content(
        diagnosis.isBusy() ? EjectionPhase::blocked() : EjectionPhase::ready(), diagnosis.disk,
        diagnosis.blockers, diagnosis.releasePlans, diagnosis.causes);
}

std::string rowText(const BlockerRowContent& row, const BlockingProcess& process,
                    const std::optional<ProcessStopPlan>& stopPlan, const TerminalStyle& style) {
    const auto safe = [](std::string_view text) { return TerminalStyle::printable(text); };
    std::string text =
        "  " + style.paint(TerminalStyle::glyph(row.statusSymbol), row.statusSymbolColor) + " " +
        style.bold(safe(row.name)) + "  " + style.dim("pid " + std::to_string(row.processID));
    if (process.command != row.name) {
        text += style.dim(std::string(" ") + middleDot + " " + safe(process.command));
    }
    text += "\n    " + safe(row.activity) + "\n";
    for (const auto& line : row.detailLines) {
        text += "      " + safe(line) + "\n";
    }
    if (row.message) {
        const auto message = safe(*row.message);
        text += "    " + (row.messageColor == TextColor::secondary ? style.dim(message) : message) +
                "\n";
    }
    if (stopPlan) {
        // The window's row offers its stop button under this title.
        text += "    " + style.bold(row.stopAction ? row.stopAction->title : "Stop") + ": " +
                safe(stopPlan->message) + "\n";
        if (stopPlan->warning) {
            text += "      " + style.paint("!", SymbolColor::orange) + " " +
                    safe(*stopPlan->warning) + "\n";
        }
    }
    return text;
}

void writeBlocker(JsonWriter& writer, const BlockerRowContent& row, const BlockingProcess& process,
                  const std::optional<ProcessReleasePlan>& releasePlan,
                  const std::optional<ProcessStopPlan>& stopPlan,
                  const std::optional<ReleaseAttempt>& attempt) {
    writer.beginObject()
        .key("pid")
        .value(process.pid)
        .key("parentPID")
        .value(process.parentPID)
        .key("name")
        .value(row.name)
        .key("command")
        .value(process.command)
        .key("user")
        .value(process.loginName)
        .key("userID")
        .value(process.userID)
        .key("executable")
        .value(process.executablePath)
        .key("activity")
        .value(row.activity)
        .key("openFiles")
        .beginArray();
    for (const auto& file : process.openFiles) {
        writer.beginObject()
            .key("path")
            .value(file.path)
            .key("descriptor")
            .value(file.descriptor)
            .key("type")
            .value(file.fileType)
            .key("access")
            .value(rawValue(file.access))
            .endObject();
    }
    writer.endArray().key("releasePlan");
    if (releasePlan) {
        writer.beginObject()
            .key("strategy")
            .value(name(releasePlan->strategy))
            .key("message")
            .value(releasePlan->message)
            .endObject();
    } else {
        writer.null();
    }
    writer.key("stopPlan");
    if (stopPlan) {
        writer.beginObject()
            .key("method")
            .value(name(stopPlan->method))
            .key("message")
            .value(stopPlan->message)
            .key("warning")
            .value(stopPlan->warning)
            .endObject();
    } else {
        writer.null();
    }
    writer.key("lastAttempt");
    if (attempt) {
        writer.beginObject()
            .key("disposition")
            .value(name(attempt->disposition))
            .key("message")
            .value(attempt->message)
            .endObject();
    } else {
        writer.null();
    }
    writer.endObject();
}

// A holder that is not a process, as the window's row shows it.
std::string causeText(const BusyCauseRowContent& row, const TerminalStyle& style) {
    const auto safe = [](std::string_view text) { return TerminalStyle::printable(text); };
    std::string text = "  " +
                       style.paint(TerminalStyle::glyph(row.statusSymbol), row.statusSymbolColor) +
                       " " + style.bold(safe(row.title)) + "\n    " + safe(row.sentence) + "\n";
    for (const auto& line : row.detailLines) {
        text += "      " + safe(line) + "\n";
    }
    return text + "    " + safe(row.message) + "\n";
}

void writeCause(JsonWriter& writer, const BusyCause& cause,
                const std::vector<BusyCauseAttempt>& attempts) {
    writer.beginObject()
        .key("title")
        .value(BusyCausePresentation::title(cause))
        .key("sentence")
        .value(BusyCausePresentation::sentence(cause))
        .key("kind")
        .value(name(cause.kind))
        .key("device")
        .value(cause.device)
        .key("subject")
        .value(cause.subject)
        .key("backingFile")
        .value(cause.backingFile)
        .key("holderKind");
    if (cause.holderKind) {
        writer.value(name(*cause.holderKind));
    } else {
        writer.null();
    }
    writer.key("pid")
        .value(cause.processID)
        .key("command")
        .value(cause.processName)
        .key("plan")
        .beginObject()
        .key("action")
        .value(name(cause.plan.action))
        .key("message")
        .value(cause.plan.message)
        .endObject()
        .key("lastAttempt");
    if (const auto attempt = BusyCausePresentation::latestAttemptFor(cause, attempts)) {
        writer.beginObject()
            .key("disposition")
            .value(name(attempt->disposition))
            .key("message")
            .value(attempt->message)
            .endObject();
    } else {
        writer.null();
    }
    writer.endObject();
}

} // namespace

std::string text(const DiskDiagnosis& diagnosis, const ProcessPresentation& presentation,
                 const TerminalStyle& style) {
    std::string text = DiskListOutput::diskText(diagnosis.disk, style) + "\n" +
                       StatusOutput::text(status(diagnosis), style);
    const auto rows = blockerRows(presentation, diagnosis.blockers, diagnosis.releasePlans,
                                  diagnosis.stopPlans, diagnosis.releaseAttempts);
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const auto& process = diagnosis.blockers[index];
        text += "\n" +
                rowText(rows[index], process, stopPlanFor(process.pid, diagnosis.stopPlans), style);
    }
    for (const auto& row : BusyCausePresentation::rows(diagnosis.causes, diagnosis.causeAttempts)) {
        text += "\n" + causeText(row, style);
    }
    return text;
}

std::string json(const DiskDiagnosis& diagnosis, const ProcessPresentation& presentation) {
    const auto content = status(diagnosis);
    JsonWriter writer;
    writer.beginObject().key("disk");
    DiskListOutput::writeDisk(writer, diagnosis.disk);
    writer.key("busy")
        .value(diagnosis.isBusy())
        .key("title")
        .value(content.title)
        .key("message")
        .value(content.message)
        .key("blockers")
        .beginArray();
    const auto rows = blockerRows(presentation, diagnosis.blockers, diagnosis.releasePlans,
                                  diagnosis.stopPlans, diagnosis.releaseAttempts);
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const auto pid = diagnosis.blockers[index].pid;
        writeBlocker(writer, rows[index], diagnosis.blockers[index],
                     releasePlanFor(pid, diagnosis.releasePlans),
                     stopPlanFor(pid, diagnosis.stopPlans),
                     latestAttemptFor(pid, diagnosis.releaseAttempts));
    }
    writer.endArray().key("otherCauses").beginArray();
    for (const auto& cause : diagnosis.causes) {
        writeCause(writer, cause, diagnosis.causeAttempts);
    }
    writer.endArray().endObject();
    return writer.text();
}

} // namespace tovo::DiagnosisOutput
