#pragma once

// Real daemons, loop devices and mounts for the disk integration tests. Every
// daemon is started here as a child and stopped by its pid; every loop device and
// mount is released by its owner's destructor.

#include "TovoSystem/Linux/MountInfo.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace tovo::testing {

/// Daemons get the chance to clean up.
inline const ChildOptions asDaemon{.stopSignal = SIGTERM};

inline const std::filesystem::path udisksd = "/usr/libexec/udisks2/udisksd";

/// Output of a shell command (test set-up only), trailing newline removed.
inline std::string shell(const std::string& command, int* status = nullptr) {
    std::string output;
    if (FILE* pipe = ::popen((command + " 2>&1").c_str(), "r")) {
        char buffer[512];
        while (const auto n = std::fread(buffer, 1, sizeof buffer, pipe)) {
            output.append(buffer, n);
        }
        const int result = ::pclose(pipe);
        if (status != nullptr) {
            *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
        }
    }
    while (!output.empty() && output.back() == '\n') {
        output.pop_back();
    }
    return output;
}

inline bool isMounted(const std::filesystem::path& mountPoint) {
    return std::ranges::any_of(MountInfo::read("/proc/self/mountinfo"), [&](const auto& entry) {
        return entry.mountPoint == mountPoint.string();
    });
}

/// systemd-udevd for the tests' duration, unless one already serves this machine.
/// Other suites may stop theirs at any time, so each settle makes sure one runs.
class UdevDaemon {
public:
    UdevDaemon() { keepRunningAndSettle(); }

    void keepRunningAndSettle() {
        const auto isAvailable = [] {
            int status = -1;
            shell("udevadm control --ping -t 1", &status);
            return status == 0;
        };
        if (!isAvailable()) {
            child_ = std::make_unique<TestChild>(
                std::vector<std::string>{"/lib/systemd/systemd-udevd"}, asDaemon);
            eventually(isAvailable);
        }
        shell("udevadm trigger --action=add --subsystem-match=block; udevadm settle -t 10");
    }

private:
    std::unique_ptr<TestChild> child_;
};

/// A private message bus standing in for the system bus.
class PrivateBus {
public:
    explicit PrivateBus(const std::filesystem::path& folder)
        : socket_(folder / "bus")
        , daemon_({"/usr/bin/dbus-daemon", "--session", "--nofork", "--nopidfile",
                   "--address=unix:path=" + socket_.string()},
                  asDaemon) {
        eventually([this] { return std::filesystem::exists(socket_); });
    }
    std::string address() const { return "unix:path=" + socket_.string(); }
    /// Whether udisksd (real or mock) lists a file system mounted at `mountPoint`.
    bool udisksReportsMount(const std::filesystem::path& mountPoint) const {
        // busctl prints byte arrays as decimal numbers; a mount point ends in a NUL.
        std::string bytes;
        for (const unsigned char c : mountPoint.string()) {
            bytes += " " + std::to_string(c);
        }
        return shell("busctl --address=" + address() +
                     " call org.freedesktop.UDisks2 /org/freedesktop/UDisks2 "
                     "org.freedesktop.DBus.ObjectManager GetManagedObjects")
                   .find(bytes + " 0") != std::string::npos;
    }
    /// udisksd probes every block device before it takes its name: give a busy machine time.
    bool awaitName(const std::string& name) const {
        return eventually(
            [&] {
                return shell("busctl --address=" + address() +
                             " call org.freedesktop.DBus /org/freedesktop/DBus "
                             "org.freedesktop.DBus NameHasOwner s " +
                             name) == "b true";
            },
            std::chrono::seconds(40));
    }

private:
    std::filesystem::path socket_;
    TestChild daemon_;
};

/// The real udisksd on a private bus, with udev running.
struct RealUdisks {
    explicit RealUdisks(const std::filesystem::path& folder)
        : bus(folder)
        , daemon({udisksd.string()}, {.environment = {"DBUS_SYSTEM_BUS_ADDRESS=" + bus.address()},
                                      .output = folder / "udisksd.log",
                                      .stopSignal = SIGTERM}) {}

    UdevDaemon udev;
    PrivateBus bus;
    TestChild daemon;
};

/// A file-backed loop device with a file system (or a partition table), attached
/// now and detached, after unmounting what the test mounted, when this goes.
class LoopDisk {
public:
    /// On `preferred` ("/dev/loop3") when it is free, else on the first free device.
    LoopDisk(const std::filesystem::path& folder, const std::string& name,
             const std::string& preferred = "") {
        image_ = folder / (name + ".img");
        shell("truncate -s 64M '" + image_.string() + "'");
        const auto image = " '" + image_.string() + "'";
        device_ = preferred.empty()
                      ? ""
                      : shell("losetup " + preferred + image + " && echo " + preferred);
        if (!isAttached()) {
            device_ = shell("losetup -f --show" + image);
        }
    }
    ~LoopDisk() {
        for (auto it = mounts_.rbegin(); it != mounts_.rend(); ++it) {
            if (isMounted(*it)) {
                shell("umount -l '" + it->string() + "'");
            }
        }
        if (isAttached()) {
            shell("partx -d " + device_ + " 2>/dev/null; losetup -d " + device_);
        }
        std::filesystem::remove(image_);
    }
    LoopDisk(const LoopDisk&) = delete;
    LoopDisk& operator=(const LoopDisk&) = delete;

    bool isAttached() const { return device_.starts_with("/dev/loop"); }
    const std::string& device() const { return device_; }
    std::string kernelName() const { return device_.substr(5); }
    /// The attachment the volume provider lists for this disk.
    std::uint64_t diskSequence() const {
        return std::stoull(readText("/sys/class/block/" + kernelName() + "/diskseq").value_or("0"));
    }

    /// Two partitions, visible as <device>p1 and p2.
    void partitionInTwo() {
        shell("printf 'label: gpt\\n,24M\\n,24M\\n' | sfdisk -q " + device_ + " && partx -a " +
              device_);
    }
    void format(const std::string& device, const std::string& label) {
        shell("mkfs.ext4 -q -F -L '" + label + "' " + device);
    }
    std::filesystem::path mount(const std::string& device, const std::filesystem::path& at) {
        std::filesystem::create_directories(at);
        shell("mount " + device + " '" + at.string() + "'");
        mounts_.push_back(at);
        return at;
    }

private:
    std::filesystem::path image_;
    std::string device_;
    std::vector<std::filesystem::path> mounts_;
};

} // namespace tovo::testing
