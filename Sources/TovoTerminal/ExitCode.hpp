#pragma once

namespace tovo {

/// What `tovo` tells a script. The help text and the manual page list the same table.
enum class ExitCode : int {
    ejected = 0,   ///< the disk was ejected; for list and why: done, nothing holds the disk
    stillBusy = 1, ///< the disk is still in use (why found holders, or eject could not finish)
    failed = 2,    ///< an error: no such disk, the system refused, a check failed
    usage = 64     ///< bad usage: unknown command or option, missing or extra argument
};

inline int toInt(ExitCode code) {
    return static_cast<int>(code);
}

} // namespace tovo
