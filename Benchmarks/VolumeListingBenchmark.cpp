// Listing mounted external disks: 50 volumes of 25 USB disks from a fixture (mount
// table decoding, identity walks, grouping and both sorts), the mount table decoding
// alone, and the real listing of this machine through /proc, udev and statvfs.
#include "../Tests/TovoSystemTests/DiskFakeDeviceTree.hpp"
#include "TovoCore/Async/Executor.hpp"
#include "TovoSystem/Linux/MountInfo.hpp"
#include "TovoSystem/Services/SystemVolumeProvider.hpp"

#include <benchmark/benchmark.h>

#include <fstream>
#include <unistd.h>

namespace {

using tovo::testing::FakeDeviceTree;

constexpr int diskCount = 25;

const FakeDeviceTree& fixtureTree() {
    static const FakeDeviceTree tree = [] {
        FakeDeviceTree built;
        tovo::testing::addInternalDisk(built, "sda", 1, {{}, tovo::testing::fileSystem("R", "")});
        for (int disk = 0; disk < diskCount; ++disk) {
            const auto n = std::to_string(disk);
            std::vector<tovo::testing::Properties> partitions;
            for (int part = 1; part <= 2; ++part) {
                partitions.push_back(tovo::testing::fileSystem(
                    "UUID-" + n + "-" + std::to_string(part),
                    "Backup\\x20Disk\\x20" + std::to_string(disk * 2 + part)));
            }
            tovo::testing::addUsbDisk(built, "sd" + n + "x", 100 + disk, disk % 2 == 0,
                                      {{"ID_MODEL", "Disk_" + n}}, partitions, "2-" + n);
        }
        return built;
    }();
    return tree;
}

std::string fixtureMountInfo() {
    std::string text = "22 1 0:21 / /proc rw - proc proc rw\n"
                       "27 1 8:2 / / rw,relatime - ext4 /dev/sda2 rw\n"
                       "30 27 0:27 / /tmp rw - tmpfs tmpfs rw\n";
    for (int disk = 0; disk < diskCount; ++disk) {
        for (int part = 1; part <= 2; ++part) {
            const auto name = "sd" + std::to_string(disk) + "x" + std::to_string(part);
            const auto& device = fixtureTree().named("/dev/" + name);
            text += std::to_string(100 + disk * 2 + part) + " 27 " + std::to_string(device.major) +
                    ":" + std::to_string(device.minor) + " / /media/user/Backup\\040Disk\\040" +
                    std::to_string(disk * 2 + part) + " rw,nosuid,nodev - ext4 /dev/" + name +
                    " rw,errors=remount-ro\n";
        }
    }
    return text;
}

void FixtureListingOfFiftyVolumes(benchmark::State& state) {
    const auto path = std::filesystem::temp_directory_path() /
                      ("tovo-bench-mountinfo-" + std::to_string(::getpid()));
    std::ofstream(path) << fixtureMountInfo();
    tovo::ManualExecutor executor;
    tovo::SystemVolumeProvider provider(
        executor, tovo::VolumeListingSources{
                      path, [] { return std::make_unique<FakeDeviceTree>(fixtureTree()); },
                      [](const std::filesystem::path&) {
                          return tovo::VolumeCapacity{32'000'000'000, 12'000'000'000};
                      },
                      "en_US"});
    std::size_t volumes = 0;
    for (auto _ : state) {
        const auto disks = provider.listExternalDisks();
        volumes = 0;
        for (const auto& disk : disks) {
            volumes += disk.volumes.size();
        }
        benchmark::DoNotOptimize(disks);
    }
    state.counters["volumes"] = static_cast<double>(volumes);
    std::filesystem::remove(path);
}
BENCHMARK(FixtureListingOfFiftyVolumes)->Unit(benchmark::kMicrosecond);

void MountTableDecodingOfFiftyVolumes(benchmark::State& state) {
    const auto text = fixtureMountInfo();
    for (auto _ : state) {
        benchmark::DoNotOptimize(tovo::MountInfo::parse(text));
    }
}
BENCHMARK(MountTableDecodingOfFiftyVolumes)->Unit(benchmark::kMicrosecond);

void RealListingOfThisMachine(benchmark::State& state) {
    tovo::ManualExecutor executor;
    tovo::SystemVolumeProvider provider(executor);
    for (auto _ : state) {
        benchmark::DoNotOptimize(provider.listExternalDisks());
    }
    state.counters["mounts"] =
        static_cast<double>(tovo::MountInfo::read("/proc/self/mountinfo").size());
}
BENCHMARK(RealListingOfThisMachine)->Unit(benchmark::kMicrosecond);

} // namespace
