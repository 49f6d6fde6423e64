#pragma once

#include <cstdint>

namespace tovo {

/// Holds on to one process through a pidfd. While the pinned process has not
/// exited, its pid cannot name anybody else, so checks made now about "pid" are
/// about that very process.
class ProcessPin {
public:
    explicit ProcessPin(std::int32_t pid);
    ~ProcessPin();
    ProcessPin(const ProcessPin&) = delete;
    ProcessPin& operator=(const ProcessPin&) = delete;

    /// False when the process was already gone (or pids below 1).
    bool isHeld() const { return fd_ >= 0; }
    /// Held, and the process has not exited since.
    bool isAlive() const;

private:
    std::int32_t pid_;
    int fd_ = -1;
};

} // namespace tovo
