#include "TovoSystem/Linux/MountChangeMonitor.hpp"

#include <libudev.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tovo {

MountChangeMonitor::MountChangeMonitor(std::string mountInfoPath) {
    mountFd_ = ::open(mountInfoPath.c_str(), O_RDONLY | O_CLOEXEC);
    // The mark is set by changes after the first read, so read the table once.
    if (mountFd_ >= 0) {
        std::array<char, 4096> buffer{};
        while (::read(mountFd_, buffer.data(), buffer.size()) > 0) {
        }
    }
    udev_ = udev_new();
    if (udev_ == nullptr) {
        return;
    }
    monitor_ = udev_monitor_new_from_netlink(udev_, "udev");
    if (monitor_ == nullptr) {
        return;
    }
    if (udev_monitor_filter_add_match_subsystem_devtype(monitor_, "block", nullptr) < 0 ||
        udev_monitor_enable_receiving(monitor_) < 0) {
        udev_monitor_unref(monitor_);
        monitor_ = nullptr;
        return;
    }
    // Receiving must never block the event loop that polls this descriptor.
    const int fd = udev_monitor_get_fd(monitor_);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

MountChangeMonitor::~MountChangeMonitor() {
    if (monitor_ != nullptr) {
        udev_monitor_unref(monitor_);
    }
    if (udev_ != nullptr) {
        udev_unref(udev_);
    }
    if (mountFd_ >= 0) {
        ::close(mountFd_);
    }
}

std::vector<MountChangeMonitor::Watched> MountChangeMonitor::descriptors() const {
    std::vector<Watched> watched;
    if (mountFd_ >= 0) {
        watched.push_back({mountFd_, POLLPRI});
    }
    if (monitor_ != nullptr) {
        watched.push_back({udev_monitor_get_fd(monitor_), POLLIN});
    }
    return watched;
}

bool MountChangeMonitor::drain(int fd, short revents) {
    if (fd == mountFd_ && mountFd_ >= 0) {
        return (revents & (POLLPRI | POLLERR)) != 0;
    }
    if (monitor_ != nullptr && fd == udev_monitor_get_fd(monitor_)) {
        return drainDeviceEvents();
    }
    return false;
}

bool MountChangeMonitor::drainDeviceEvents() {
    bool changed = false;
    while (udev_device* device = udev_monitor_receive_device(monitor_)) {
        changed = true;
        udev_device_unref(device);
    }
    return changed;
}

bool MountChangeMonitor::waitForChange(std::chrono::milliseconds timeout) {
    std::vector<pollfd> polled;
    for (const Watched& watched : descriptors()) {
        polled.push_back({watched.fd, watched.events, 0});
    }
    if (polled.empty()) {
        return false;
    }
    int ready = 0;
    do {
        ready = ::poll(polled.data(), polled.size(), static_cast<int>(timeout.count()));
    } while (ready < 0 && errno == EINTR);
    bool changed = false;
    for (const pollfd& entry : polled) {
        if (entry.revents != 0 && drain(entry.fd, entry.revents)) {
            changed = true;
        }
    }
    return changed;
}

} // namespace tovo
