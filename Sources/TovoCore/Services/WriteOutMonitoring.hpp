#pragma once

#include "TovoCore/Async/Task.hpp"
#include "TovoCore/Models/ExternalDisk.hpp"

#include <cstdint>
#include <optional>

namespace tovo {

/// What an amount of data still to be written covers.
enum class WriteOutScope {
    disk,  ///< this disk alone
    system ///< every disk of the system together: the kernel tells no more
};

/// How far the system is with writing out what it still holds for a disk.
struct WriteOutSample {
    /// The disk has writes in flight, was written since the previous sample, or has
    /// data waiting for it (known only when `scope` is disk).
    bool isWriting;
    /// Data still waiting to be written, or under way; absent when unknown.
    std::optional<std::uint64_t> bytesLeft;
    /// What `bytesLeft` covers.
    WriteOutScope scope;
    /// This disk's write rate since the previous sample; absent for the first one.
    std::optional<std::uint64_t> bytesPerSecond;

    bool operator==(const WriteOutSample&) const = default;
};

/// Watches the system write out what it still holds for a disk (while an unmount
/// flushes it, for example). Samples are taken in the background; a rate needs two.
class WriteOutMonitoring {
public:
    virtual ~WriteOutMonitoring() = default;
    virtual Task<WriteOutSample> sample(ExternalDisk disk) = 0;
};

} // namespace tovo
