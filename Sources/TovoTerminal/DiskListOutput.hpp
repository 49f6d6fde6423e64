#pragma once

#include "TovoCore/Models/ExternalDisk.hpp"
#include "TovoTerminal/JsonWriter.hpp"
#include "TovoTerminal/TerminalStyle.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// `tovo list`: the disks, their volumes and sizes, as text or as JSON.
namespace DiskListOutput {

/// "/dev/" and the whole disk's kernel name, when known.
std::optional<std::string> devicePath(const ExternalDisk& disk);

/// The heading, then per disk its name and sizes, its id and device, and one line
/// per volume; the empty-list status when there is no disk.
std::string text(const std::vector<ExternalDisk>& disks, const TerminalStyle& style);
/// The disk's name line and its detail lines, as `list` and `why` start them.
std::string diskText(const ExternalDisk& disk, const TerminalStyle& style);

/// {"disks": [...]}
std::string json(const std::vector<ExternalDisk>& disks);
/// One disk as a JSON object, shared with `why --json`.
void writeDisk(JsonWriter& writer, const ExternalDisk& disk);

} // namespace DiskListOutput

} // namespace tovo
