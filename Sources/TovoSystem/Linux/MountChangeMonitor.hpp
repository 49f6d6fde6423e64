#pragma once

#include <chrono>
#include <string>
#include <vector>

struct udev;
struct udev_monitor;

namespace tovo {

/// Tells when the disk list may have changed: the mount table (a new poll of
/// /proc/self/mountinfo reports POLLPRI after every mount, unmount or remount) and
/// udev's block-device events (a disk appears, goes, or changes its media or label).
/// Without an event loop of its own: the owner watches `descriptors()` and calls
/// `drain()` for each one that is ready.
class MountChangeMonitor {
public:
    /// One descriptor to watch and the poll events that mean "look at me".
    struct Watched {
        int fd;
        short events;
    };

    /// Opens what it can; a source that cannot be opened (no udev) is left out.
    explicit MountChangeMonitor(std::string mountInfoPath = "/proc/self/mountinfo");
    ~MountChangeMonitor();
    MountChangeMonitor(const MountChangeMonitor&) = delete;
    MountChangeMonitor& operator=(const MountChangeMonitor&) = delete;

    std::vector<Watched> descriptors() const;
    bool watchesMountTable() const { return mountFd_ >= 0; }
    bool watchesDevices() const { return monitor_ != nullptr; }

    /// Consumes what `fd` reported; true when it means the mount table or a block
    /// device changed. The kernel clears the mount table's mark when it is polled,
    /// so a POLLPRI report on that descriptor is itself the change.
    bool drain(int fd, short revents);

    /// For callers without an event loop: polls every descriptor for up to
    /// `timeout` and drains what is ready; true when something changed.
    bool waitForChange(std::chrono::milliseconds timeout);

private:
    bool drainDeviceEvents();

    int mountFd_ = -1;
    udev* udev_ = nullptr;
    udev_monitor* monitor_ = nullptr;
};

} // namespace tovo
