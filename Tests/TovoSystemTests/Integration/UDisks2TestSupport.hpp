#pragma once

// Real daemons, loop devices, mounts and X servers for the integration tests. Every
// daemon is started here as a child and stopped by its pid; every loop device and
// mount is released by its owner's destructor.

#include "Support/ScriptedServices.hpp"
#include "TovoSystem/Linux/MountInfo.hpp"
#include "TovoSystem/Services/FileManagerDiskEjector.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

namespace tovo::testing {

/// flock(1) hands the integration lock to this process as an open descriptor: a
/// daemon that inherited it and outlived a crashed test would hold the lock for ever.
inline const bool inheritedDescriptorsCloseOnExec = [] {
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
        if (const int flags = ::fcntl(descriptor, F_GETFD); flags >= 0) {
            ::fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
        }
    }
    return true;
}();

/// A file kept beside these tests. A compiler cache may name sources relative to the
/// build folder, which holds the test program's folder.
inline std::filesystem::path besideTests(const std::string& name) {
    const auto here = std::filesystem::path(__FILE__).parent_path();
    return here.is_absolute()
               ? here / name
               : std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() /
                     here / name;
}

/// Output of a shell command (test set-up only), trailing newline removed.
inline std::string shell(const std::string& command, int* status = nullptr) {
    std::string output;
    FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    for (char buffer[512]; const auto n = std::fread(buffer, 1, sizeof buffer, pipe);) {
        output.append(buffer, n);
    }
    const int result = ::pclose(pipe);
    if (status != nullptr) {
        *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }
    return output.substr(0, output.find_last_not_of('\n') + 1);
}

inline bool isMounted(const std::filesystem::path& mountPoint) {
    return std::ranges::any_of(MountInfo::read("/proc/self/mountinfo"), [&](const auto& entry) {
        return entry.mountPoint == mountPoint.string();
    });
}

/// Lists `disk` with the volumes still mounted, while any is, as the volume provider
/// lists a USB disk; it never offers a loop image.
inline std::shared_ptr<ScriptedVolumeProvider> loopListing(Executor& executor, ExternalDisk disk) {
    auto provider = std::make_shared<ScriptedVolumeProvider>(executor);
    provider->listing.setResponder([disk = std::move(disk)](const std::monostate&) {
        auto listed = disk;
        std::erase_if(listed.volumes,
                      [](const auto& volume) { return !isMounted(volume.mountURL); });
        return decltype(ScriptedVolumeProvider::listing)::Outcome::success(
            listed.volumes.empty() ? std::vector<ExternalDisk>{} : std::vector{listed});
    });
    return provider;
}

/// Whether `pid` soon runs sleep in a mount namespace other than ours.
inline bool entersOwnMountNamespace(pid_t pid) {
    const auto root = "/proc/" + std::to_string(pid);
    return eventually([&] {
        std::error_code error;
        const auto space = std::filesystem::read_symlink(root + "/ns/mnt", error);
        return !error && space != std::filesystem::read_symlink("/proc/self/ns/mnt") &&
               readText(root + "/comm") == "sleep\n";
    });
}

/// Helper programs for the scope, each handed a pid file last and waited for until it
/// wrote its pid there, which it does once it holds what it was told to.
class Holders {
public:
    explicit Holders(std::filesystem::path folder)
        : folder_(std::move(folder)) {}
    /// `command` starts with a helper's name or an absolute path.
    pid_t start(std::vector<std::string> command, const std::filesystem::path& in = ".") {
        if (!command[0].starts_with("/")) {
            command[0] = helperProgram(command[0]);
        }
        const auto pidFile = folder_ / ("pid" + std::to_string(all.size()));
        command.push_back(pidFile);
        all.push_back(std::make_unique<TestChild>(std::move(command), ChildOptions{.folder = in}));
        return awaitPidFile(pidFile);
    }

    std::vector<std::unique_ptr<TestChild>> all;

private:
    std::filesystem::path folder_;
};

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
            child_ =
                std::make_unique<TestChild>(std::vector<std::string>{"/lib/systemd/systemd-udevd"},
                                            ChildOptions{.stopSignal = SIGTERM});
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
                   "--address=" + address()},
                  {.stopSignal = SIGTERM}) {
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
        return call("org.freedesktop.UDisks2 /org/freedesktop/UDisks2 "
                    "org.freedesktop.DBus.ObjectManager GetManagedObjects")
                   .find(bytes + " 0") != std::string::npos;
    }
    /// udisksd probes every block device before it takes its name: give a busy machine time.
    bool awaitName(const std::string& name) const {
        const auto query = "org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus "
                           "NameHasOwner s " +
                           name;
        return eventually([&] { return call(query) == "b true"; }, std::chrono::seconds(40));
    }
    std::string call(const std::string& arguments) const {
        return shell("busctl --address=" + address() + " call " + arguments);
    }

private:
    std::filesystem::path socket_;
    TestChild daemon_;
};

/// A file-backed loop device, attached now and detached, after unmounting what the
/// test mounted, when this goes.
class LoopDisk {
public:
    /// On `preferred` ("/dev/loop3") when it is free, else on the first free device.
    LoopDisk(const std::filesystem::path& folder, const std::string& name,
             const std::string& preferred = "")
        : image_(folder / (name + ".img")) {
        const auto image = " '" + image_.string() + "'";
        shell("truncate -s 64M" + image);
        if (!preferred.empty()) {
            device_ = shell("losetup " + preferred + image + " && echo " + preferred);
        }
        if (!isAttached()) {
            device_ = shell("losetup -f --show" + image);
        }
    }
    ~LoopDisk() {
        for (auto it = mounts_.rbegin(); it != mounts_.rend(); ++it) {
            shell("umount -l '" + it->string() + "'");
        }
        if (isAttached()) {
            shell("partx -d " + device_ + "; losetup -d " + device_);
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
    /// The disk as the validator proves it, with these mounts.
    ProvedDisk proved(std::vector<std::filesystem::path> mounts) const {
        return {kernelName(), diskSequence(), std::move(mounts)};
    }

    /// Two partitions of ext4 labelled ONE and TWO: <device>p1 and p2.
    void partitionInTwo() {
        shell("printf 'label: gpt\\n,24M\\n,24M\\n' | sfdisk -q " + device_ + " && partx -a " +
              device_);
        format(device_ + "p1", "ONE");
        format(device_ + "p2", "TWO");
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

/// The real udisksd on a private bus, with udev running.
struct RealUdisks {
    explicit RealUdisks(const std::filesystem::path& folder)
        : bus(folder)
        , daemon({"/usr/libexec/udisks2/udisksd"},
                 {.environment = {"DBUS_SYSTEM_BUS_ADDRESS=" + bus.address()},
                  .output = folder / "udisksd.log",
                  .stopSignal = SIGTERM}) {}

    /// Mounts `device` of `disk` at `at` once udev settled, and waits until udisksd
    /// lists the mount.
    std::filesystem::path mount(LoopDisk& disk, const std::string& device,
                                const std::filesystem::path& at) {
        udev.keepRunningAndSettle();
        disk.mount(device, at);
        EXPECT_TRUE(eventually([&] { return bus.udisksReportsMount(at); }))
            << "udisksd never reported " << at;
        return at;
    }

    UdevDaemon udev;
    PrivateBus bus;
    TestChild daemon;
};

/// Root, a temporary folder and the real udisksd on its own bus.
class RealUdisksTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isRoot()) {
            GTEST_SKIP() << "needs root for loop devices and mounts";
        }
        udisks_.emplace(folder_.path());
        ASSERT_TRUE(udisks_->bus.awaitName("org.freedesktop.UDisks2"))
            << readText(folder_.path() / "udisksd.log").value_or("");
    }

    TemporaryFolder folder_;
    std::optional<RealUdisks> udisks_;
};

/// The refusal as the ejector shows it; none when `error` is none.
inline std::optional<EjectionFailure> failureOf(const std::exception_ptr& error) {
    try {
        if (error) {
            std::rethrow_exception(error);
        }
    } catch (const UnmountError& refusal) {
        return FileManagerDiskEjector::failure(refusal);
    }
    return std::nullopt;
}

/// Xvfb on a display of its own for the scope; `name()` (":N") stays empty if it
/// never started.
class VirtualDisplay {
public:
    explicit VirtualDisplay(const std::filesystem::path& announced,
                            std::vector<std::string> options = {})
        : server_(withOptions(std::move(options)), ChildOptions{.output = announced}) {
        // The display number is a line of its own, among whatever the server logs there.
        eventually([&] {
            std::ifstream file(announced);
            for (std::string line; std::getline(file, line) && !file.eof();) {
                if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos) {
                    name_ = ":" + line;
                }
            }
            return !name_.empty();
        });
    }
    const std::string& name() const { return name_; }

private:
    static std::vector<std::string> withOptions(std::vector<std::string> options) {
        options.insert(options.begin(), {"/usr/bin/Xvfb", "-displayfd", "1", "-nolisten", "tcp",
                                         "-screen", "0", "320x240x24"});
        return options;
    }

    TestChild server_;
    std::string name_;
};

} // namespace tovo::testing
