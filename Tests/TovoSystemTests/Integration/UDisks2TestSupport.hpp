#pragma once

// Real daemons, loop devices and mounts for the disk integration tests. Every
// daemon is started here as a child and stopped by its pid; every loop device and
// mount is released by its owner's destructor.

#include "TovoSystem/Linux/MountInfo.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <signal.h>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace tovo::testing {

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

inline bool waitFor(const std::function<bool()>& done,
                    std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

inline bool isMounted(const std::filesystem::path& mountPoint) {
    for (const auto& entry : MountInfo::read("/proc/self/mountinfo")) {
        if (entry.mountPoint == mountPoint.string()) {
            return true;
        }
    }
    return false;
}

/// A child process, stopped with SIGTERM (then reaped) when this goes.
class Child {
public:
    Child(std::vector<std::string> arguments, std::vector<std::string> environment = {},
          const std::filesystem::path& output = "/dev/null") {
        // env(1) adds the variables and execs in place, so the pid stays the program's.
        arguments.insert(arguments.begin(), environment.begin(), environment.end());
        arguments.insert(arguments.begin(), "/usr/bin/env");
        std::vector<char*> argv;
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                         0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Child() { stop(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }
    bool isRunning() {
        if (pid_ <= 0) {
            return false;
        }
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return false;
        }
        return true;
    }
    void stop() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            EXPECT_TRUE(waitFor([this] { return !isRunning(); }, std::chrono::seconds(5)))
                << "a test daemon outlived SIGTERM: pid " << pid_;
        }
    }

private:
    pid_t pid_ = -1;
};

inline std::filesystem::path scratchFolder(const std::string& name) {
    auto folder = std::filesystem::temp_directory_path() /
                  ("tovo-" + name + "-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    return folder;
}

/// systemd-udevd for the tests' duration, unless one already serves this machine.
/// Other suites may stop theirs at any time, so each settle makes sure one runs.
class UdevDaemon {
public:
    UdevDaemon() { keepRunningAndSettle(); }

    void keepRunningAndSettle() {
        if (!isAvailable()) {
            child_ =
                std::make_unique<Child>(std::vector<std::string>{"/lib/systemd/systemd-udevd"});
            waitFor([] { return isAvailable(); });
        }
        settle();
    }
    static void settle() {
        shell("udevadm trigger --action=add --subsystem-match=block; udevadm settle -t 10");
    }
    static bool isAvailable() {
        int status = -1;
        shell("udevadm control --ping -t 1", &status);
        return status == 0;
    }

private:
    std::unique_ptr<Child> child_;
};

/// A private message bus standing in for the system bus.
class PrivateBus {
public:
    explicit PrivateBus(const std::filesystem::path& folder)
        : socket_(folder / "bus")
        , daemon_({"/usr/bin/dbus-daemon", "--session", "--nofork", "--nopidfile",
                   "--address=unix:path=" + socket_.string()}) {
        waitFor([this] { return std::filesystem::exists(socket_); });
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
    bool hasName(const std::string& name) const {
        return shell("busctl --address=" + address() +
                     " call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus "
                     "NameHasOwner s " +
                     name) == "b true";
    }

private:
    std::filesystem::path socket_;
    Child daemon_;
};

/// A file-backed loop device with a file system (or a partition table), attached
/// now and detached, after unmounting what the test mounted, when this goes.
class LoopDisk {
public:
    LoopDisk(const std::filesystem::path& folder, const std::string& name, int megabytes = 64) {
        image_ = folder / (name + ".img");
        shell("truncate -s " + std::to_string(megabytes) + "M '" + image_.string() + "'");
        device_ = shell("losetup -f --show '" + image_.string() + "'");
    }
    ~LoopDisk() {
        for (auto it = mounts_.rbegin(); it != mounts_.rend(); ++it) {
            if (isMounted(*it)) {
                shell("umount -l '" + it->string() + "'");
            }
        }
        if (device_.starts_with("/dev/loop")) {
            shell("partx -d " + device_ + " 2>/dev/null; losetup -d " + device_);
        }
        std::filesystem::remove(image_);
    }
    LoopDisk(const LoopDisk&) = delete;
    LoopDisk& operator=(const LoopDisk&) = delete;

    bool isAttached() const { return device_.starts_with("/dev/loop"); }
    const std::string& device() const { return device_; }
    std::string kernelName() const { return device_.substr(5); }

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

inline std::string skipReason() {
    if (::geteuid() != 0) {
        return "needs root for loop devices and mounts";
    }
    for (const char* tool : {"/usr/bin/dbus-daemon", "/lib/systemd/systemd-udevd",
                             "/usr/sbin/losetup", "/usr/sbin/mkfs.ext4", "/usr/bin/busctl"}) {
        if (!std::filesystem::exists(tool)) {
            return std::string("needs ") + tool;
        }
    }
    return "";
}

} // namespace tovo::testing
