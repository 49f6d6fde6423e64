#include "Tovo/Support/CrowdedSample.hpp"

#include "Tovo/Support/DemoServices.hpp"

#include <string>

namespace tovo::CrowdedSample {

namespace {

const std::string mount = std::string("/media/user/") + diskName;

class CrowdedVolumeProvider final : public VolumeProviding {
public:
    Task<std::vector<ExternalDisk>> mountedExternalDisks() override {
        co_return std::vector<ExternalDisk>{disk()};
    }
};

BlockingProcess holder(std::int32_t pid, std::string command, std::string executable,
                       std::vector<OpenFileReference> files) {
    return BlockingProcess{pid,
                           1,
                           std::move(command),
                           1000u,
                           "user",
                           std::move(files),
                           std::move(executable),
                           std::nullopt,
                           false,
                           std::nullopt};
}

} // namespace

const ExternalDisk& disk() {
    static const ExternalDisk value{
        "crowded-disk",
        diskName,
        "Portable SSD",
        std::nullopt,
        std::nullopt,
        "sdb",
        {DiskVolume{"crowded-volume", std::nullopt, std::nullopt, diskName, mount,
                    2'000'000'000'000, 310'000'000'000, "ext4", false}},
        2'000'000'000'000};
    return value;
}

const std::vector<BlockingProcess>& blockers() {
    // lsof prints a newline in a name as "\n", a backslash as "\\" and bytes that are
    // not UTF-8 as "\xhh".
    static const std::vector<BlockingProcess> value{
        holder(4711, "eog", "/usr/bin/eog",
               {{mount + "/Scans/1987/slide-0412.tif", "14", "REG", OpenAccess::read}}),
        holder(5120, "bash", "/usr/bin/bash",
               {{mount + "/Projects/website", "cwd", "DIR", OpenAccess::unknown}}),
        holder(6230, "qemu-system-x86_64", "/usr/bin/qemu-system-x86_64",
               {{mount + "/Machines/debian-12.qcow2", "21", "REG", OpenAccess::readWrite}}),
        holder(7342, "rsync", "/usr/bin/rsync",
               {{mount + "/Inbox/new\\nline.txt", "3", "REG", OpenAccess::read},
                {mount + "/Inbox/back\\\\slash.txt", "4", "REG", OpenAccess::read},
                {mount + "/Inbox/caf\\xc3\\xa9 \\xff.jpg", "5", "REG", OpenAccess::read}})};
    return value;
}

ServiceGraph serviceGraph(Executor& mainExecutor) {
    return serviceGraphWith(mainExecutor, blockers());
}

ServiceGraph serviceGraphWith(Executor& mainExecutor, std::vector<BlockingProcess> holders) {
    auto scenario = std::make_shared<DemoScenario>(std::move(holders), mainExecutor);
    auto releaser = std::make_shared<DemoProcessReleaser>(scenario, true);
    ServiceGraph graph{std::make_shared<CrowdedVolumeProvider>(),
                       std::make_shared<DemoEjector>(scenario),
                       std::make_shared<DemoBlockerDiagnoser>(scenario),
                       releaser,
                       releaser,
                       demoSettleDelayNanoseconds,
                       demoReleaseTimeoutNanoseconds,
                       nullptr,
                       scenario};
    graph.causeFinder = std::make_shared<DemoBusyCauseFinder>(scenario);
    return graph;
}

} // namespace tovo::CrowdedSample
