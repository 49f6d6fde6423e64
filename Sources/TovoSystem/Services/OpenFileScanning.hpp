#pragma once

#include "TovoCore/Models/BlockingProcess.hpp"
#include "TovoSystem/Linux/MountInfo.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tovo {

/// The kernel's own view that the diagnoser checks lsof's answer against. Every
/// answer is read afresh; callable from any thread, never from the main one (it reads
/// /proc).
class OpenFileScanning {
public:
    virtual ~OpenFileScanning() = default;
    /// The mount table as it is now.
    virtual std::vector<MountEntry> mounts() const = 0;
    /// The kernel's name of the process (at most 15 bytes, raw); none when it is gone.
    virtual std::optional<std::string> commandName(std::int32_t pid) const = 0;
    /// Every visible process with its working folder, root, executable, an open file
    /// or a memory map on one of `mounts`, with those files as lsof lists them.
    virtual std::vector<BlockingProcess> holders(const std::vector<MountEntry>& mounts) const = 0;
};

} // namespace tovo
