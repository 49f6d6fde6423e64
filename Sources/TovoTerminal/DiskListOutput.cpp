#include "TovoTerminal/DiskListOutput.hpp"

#include "Tovo/Support/ByteCountFormat.hpp"
#include "Tovo/Support/DiskCardPresentation.hpp"
#include "Tovo/Support/StatusPresentation.hpp"
#include "Tovo/Support/Typography.hpp"
#include "TovoTerminal/StatusOutput.hpp"

namespace tovo::DiskListOutput {

namespace {

const std::string separator = std::string(" ") + middleDot + " ";

std::string volumeLine(const DiskVolume& volume) {
    std::string line = TerminalStyle::printable(volume.mountURL.string());
    if (!volume.name.empty()) {
        line += "  " + curlyQuoted(TerminalStyle::printable(volume.name));
    }
    std::string sizes;
    if (volume.totalCapacity) {
        sizes = formatByteCount(*volume.totalCapacity);
    }
    if (volume.availableCapacity) {
        sizes += (sizes.empty() ? "" : ", ") + formatByteCount(*volume.availableCapacity) + " free";
    }
    if (!sizes.empty()) {
        line += "  " + sizes;
    }
    if (volume.formatDescription) {
        line += separator + TerminalStyle::printable(*volume.formatDescription);
    }
    if (volume.isReadOnly) {
        line += separator + "read-only";
    }
    return line;
}

} // namespace

std::optional<std::string> devicePath(const ExternalDisk& disk) {
    if (!disk.wholeDiskIdentifier || disk.wholeDiskIdentifier->empty()) {
        return std::nullopt;
    }
    return "/dev/" + *disk.wholeDiskIdentifier;
}

std::string diskText(const ExternalDisk& disk, const TerminalStyle& style) {
    std::string text = style.bold(TerminalStyle::printable(disk.displayName));
    if (const auto detail = DiskCardPresentation::detailText(disk); !detail.empty()) {
        text += "  " + TerminalStyle::printable(detail);
    }
    text += "\n  " + style.dim("id ") + TerminalStyle::printable(disk.id);
    if (const auto device = devicePath(disk)) {
        text += separator + TerminalStyle::printable(*device);
    }
    if (disk.deviceName && !disk.deviceName->empty()) {
        text += separator + TerminalStyle::printable(*disk.deviceName);
    }
    text += "\n";
    for (const auto& volume : disk.volumes) {
        text += "  " + volumeLine(volume) + "\n";
    }
    return text;
}

std::string text(const std::vector<ExternalDisk>& disks, const TerminalStyle& style) {
    if (disks.empty()) {
        return StatusOutput::text(
            StatusPresentation::content(EjectionPhase::ready(), std::nullopt, {}, {}), style);
    }
    std::string text = style.bold(DiskCardPresentation::selectorHeading) + "\n";
    for (const auto& disk : disks) {
        text += "\n" + diskText(disk, style);
    }
    return text;
}

void writeDisk(JsonWriter& writer, const ExternalDisk& disk) {
    writer.beginObject()
        .key("id")
        .value(disk.id)
        .key("name")
        .value(disk.displayName)
        .key("device")
        .value(devicePath(disk))
        .key("deviceName")
        .value(disk.deviceName)
        .key("size")
        .value(disk.totalCapacity())
        .key("available")
        .value(disk.availableCapacity())
        .key("format")
        .value(disk.formatSummary())
        .key("volumes")
        .beginArray();
    for (const auto& volume : disk.volumes) {
        writer.beginObject()
            .key("id")
            .value(volume.id)
            .key("name")
            .value(volume.name)
            .key("mountPoint")
            .value(volume.mountURL.string())
            .key("size")
            .value(volume.totalCapacity)
            .key("available")
            .value(volume.availableCapacity)
            .key("format")
            .value(volume.formatDescription)
            .key("readOnly")
            .value(volume.isReadOnly)
            .endObject();
    }
    writer.endArray().endObject();
}

std::string json(const std::vector<ExternalDisk>& disks) {
    JsonWriter writer;
    writer.beginObject().key("disks").beginArray();
    for (const auto& disk : disks) {
        writeDisk(writer, disk);
    }
    writer.endArray().endObject();
    return writer.text();
}

} // namespace tovo::DiskListOutput
