// The diagnosis at desktop scale: M background processes with F open files each
// (none on the disk), N holders spread over the disk's V volumes (tmpfs mounts), and
// beside it, in the same run and on the same mount, bare lsof and `fuser -vm`.
// Arguments: {M, F, N, V}. Counters in milliseconds:
//   lsof_ms       one lsof run over the first volume
//   diagnosis_ms  the whole diagnosis of the V-volume disk
//   ratio         diagnosis_ms / lsof_ms
//   overhead_ms   diagnosis_ms - lsof_ms, with V = 1: what Tovo adds to lsof
// BM_DiagnosisOverhead replays lsof's recorded answer, so its time is what Tovo adds
// alone (the runner aside), free of lsof's own spread; BM_OneLsofOverAllVolumes is
// bare lsof naming every volume against naming one. The cause finder is measured on
// this machine's own mounts first, then beside the M processes.
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/DesktopApplicationRegistry.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemBusyCauseFinder.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using namespace tovo;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// Children that only hold files open and sleep; killed when this goes.
class Children {
public:
    ~Children() { clear(); }
    void clear() {
        for (const auto pid : pids_) {
            ::kill(pid, SIGKILL);
        }
        for (const auto pid : pids_) {
            ::waitpid(pid, nullptr, 0);
        }
        pids_.clear();
    }
    /// One child with `files` opened `count` times each and its working folder `folder`.
    void start(const std::filesystem::path& folder, const std::vector<std::filesystem::path>& files,
               int count) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            [[maybe_unused]] const int changed = ::chdir(folder.c_str());
            for (int index = 0; index < count; ++index) {
                const auto& file = files[static_cast<std::size_t>(index) % files.size()];
                ::open(file.c_str(), O_RDWR | O_CREAT, 0644);
            }
            while (true) {
                ::pause();
            }
        }
        pids_.push_back(pid);
    }

private:
    std::vector<pid_t> pids_;
};

/// M background processes, N holders, V tmpfs volumes; rebuilt when the shape changes.
class Scene {
public:
    Scene(int background, int files, int holders, int volumes)
        : shape_{background, files, holders, volumes} {
        char pattern[] = "/tmp/tovo-scale-XXXXXX";
        if (::geteuid() != 0 || ::mkdtemp(pattern) == nullptr) {
            return;
        }
        root_ = pattern;
        for (int volume = 0; volume < volumes; ++volume) {
            const auto path = root_ / ("vol" + std::to_string(volume));
            std::filesystem::create_directories(path);
            if (::mount("tmpfs", path.c_str(), "tmpfs", 0, "size=4m") != 0) {
                return;
            }
            mounts_.push_back(path);
        }
        const auto elsewhere = root_ / "elsewhere";
        std::filesystem::create_directories(elsewhere);
        std::vector<std::filesystem::path> otherFiles;
        for (int index = 0; index < 4; ++index) {
            otherFiles.push_back(elsewhere / std::to_string(index));
        }
        for (int index = 0; index < background; ++index) {
            background_.start(elsewhere, otherFiles, files);
        }
        for (int index = 0; index < holders; ++index) {
            const auto& mount = mounts_[static_cast<std::size_t>(index) % mounts_.size()];
            holders_.start(mount, {mount / ("held" + std::to_string(index))}, 1);
        }
        ::usleep(200'000 + 200 * background); // let every child open its files
        ready_ = true;
    }
    ~Scene() {
        holders_.clear();
        background_.clear();
        for (const auto& mount : mounts_) {
            ::umount2(mount.c_str(), MNT_DETACH);
        }
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }

    bool matches(int background, int files, int holders, int volumes) const {
        return shape_ == std::array{background, files, holders, volumes};
    }
    bool isReady() const { return ready_; }
    const std::vector<std::filesystem::path>& mounts() const { return mounts_; }
    ExternalDisk disk() const {
        ExternalDisk disk{"attachment:1", "BENCH", std::nullopt, std::nullopt, 1,
                          std::nullopt,   {},      std::nullopt};
        for (const auto& mount : mounts_) {
            disk.volumes.push_back(DiskVolume{mount.filename(), std::nullopt, std::nullopt,
                                              mount.filename(), mount, std::nullopt, std::nullopt,
                                              "tmpfs", false});
        }
        return disk;
    }

private:
    std::array<int, 4> shape_;
    std::filesystem::path root_;
    std::vector<std::filesystem::path> mounts_;
    Children background_;
    Children holders_;
    bool ready_ = false;
};

Scene& scene(const benchmark::State& state) {
    static std::unique_ptr<Scene> current;
    const auto arg = [&](int index) { return static_cast<int>(state.range(index)); };
    if (!current || !current->matches(arg(0), arg(1), arg(2), arg(3))) {
        current.reset();
        current = std::make_unique<Scene>(arg(0), arg(1), arg(2), arg(3));
    }
    return *current;
}

/// A program run to its end with its output thrown away.
bool runQuietly(const std::vector<std::string>& command) {
    std::vector<char*> argv;
    for (const auto& argument : command) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    const bool started = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    if (started) {
        ::waitpid(pid, nullptr, 0);
    }
    return started;
}

std::vector<std::string> bareLsof(const std::filesystem::path& mount) {
    auto command = LsofBlockerDiagnoser::lsofArguments(mount);
    command.insert(command.begin(), LsofBlockerDiagnoser::lsofExecutable().string());
    return command;
}

/// Answers every lsof run with what the real lsof said about the same volumes once.
class ReplayRunner final : public CommandRunning {
public:
    explicit ReplayRunner(const std::vector<std::filesystem::path>& mounts) {
        ManualExecutor executor;
        SystemCommandRunner real(executor, SystemCommandRunner::productionTimeout);
        answer_ = real.runSynchronously(LsofBlockerDiagnoser::lsofExecutable(),
                                        LsofBlockerDiagnoser::lsofArguments(mounts), {});
    }
    CommandResult runSynchronously(std::filesystem::path, std::vector<std::string>,
                                   std::stop_token) override {
        return answer_;
    }

private:
    CommandResult answer_;
};

/// The production diagnoser: real runner (or a replay), /proc and the desktop
/// application registry.
class Diagnosis {
public:
    explicit Diagnosis(std::shared_ptr<CommandRunning> runner = nullptr)
        : diagnoser_(executor_,
                     runner ? std::move(runner)
                            : std::make_shared<SystemCommandRunner>(
                                  executor_, SystemCommandRunner::productionTimeout),
                     LsofFieldParser(),
                     std::make_shared<SystemProcessMetadataProvider>(
                         std::make_shared<DesktopApplicationRegistry>())) {}

    long run(const ExternalDisk& disk) {
        auto result = std::make_shared<long>(-1);
        auto body = [](LsofBlockerDiagnoser& diagnoser, ExternalDisk disk,
                       std::shared_ptr<long> out) -> Task<void> {
            auto task = diagnoser.blockers(std::move(disk));
            const auto blockers = co_await task;
            *out = static_cast<long>(blockers.size());
        };
        const auto handle = spawn(executor_, body(diagnoser_, disk, result));
        executor_.runUntil([&] { return handle.isDone(); });
        return *result;
    }

private:
    ManualExecutor executor_;
    LsofBlockerDiagnoser diagnoser_;
};

void BM_DiagnosisBesideLsof(benchmark::State& state) {
    auto& current = scene(state);
    if (!current.isReady()) {
        state.SkipWithError("needs root to mount tmpfs volumes");
        return;
    }
    const auto lsof = bareLsof(current.mounts().front());
    const auto disk = current.disk();
    Diagnosis diagnosis;
    Milliseconds lsofTotal{0};
    Milliseconds diagnosisTotal{0};
    long found = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        runQuietly(lsof);
        const auto middle = Clock::now();
        found = diagnosis.run(disk);
        const auto end = Clock::now();
        lsofTotal += middle - start;
        diagnosisTotal += end - middle;
        state.SetIterationTime(std::chrono::duration<double>(end - middle).count());
    }
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["holders"] = static_cast<double>(found);
    state.counters["lsof_ms"] = lsofTotal.count() / iterations;
    state.counters["diagnosis_ms"] = diagnosisTotal.count() / iterations;
    state.counters["ratio"] = diagnosisTotal / lsofTotal;
    state.counters["overhead_ms"] = (diagnosisTotal - lsofTotal).count() / iterations;
}

void BM_DiagnosisOverhead(benchmark::State& state) {
    auto& current = scene(state);
    if (!current.isReady()) {
        state.SkipWithError("needs root to mount tmpfs volumes");
        return;
    }
    const auto disk = current.disk();
    Diagnosis diagnosis(std::make_shared<ReplayRunner>(current.mounts()));
    long found = 0;
    for (auto _ : state) {
        found = diagnosis.run(disk);
    }
    state.counters["holders"] = static_cast<double>(found);
}

void BM_OneLsofOverAllVolumes(benchmark::State& state) {
    auto& current = scene(state);
    if (!current.isReady()) {
        state.SkipWithError("needs root to mount tmpfs volumes");
        return;
    }
    const auto one = bareLsof(current.mounts().front());
    auto all = one;
    all.pop_back();
    for (const auto& mount : current.mounts()) {
        all.push_back(mount.string());
    }
    Milliseconds oneTotal{0};
    Milliseconds allTotal{0};
    for (auto _ : state) {
        const auto start = Clock::now();
        runQuietly(one);
        const auto middle = Clock::now();
        runQuietly(all);
        const auto end = Clock::now();
        oneTotal += middle - start;
        allTotal += end - middle;
        state.SetIterationTime(std::chrono::duration<double>(end - middle).count());
    }
    state.counters["lsof_ms"] = oneTotal.count() / static_cast<double>(state.iterations());
    state.counters["ratio"] = allTotal / oneTotal;
}

void BM_FuserBesideLsof(benchmark::State& state) {
    auto& current = scene(state);
    if (!current.isReady()) {
        state.SkipWithError("needs root to mount tmpfs volumes");
        return;
    }
    const auto lsof = bareLsof(current.mounts().front());
    const std::vector<std::string> fuser{"/usr/bin/fuser", "-vm",
                                         current.mounts().front().string()};
    Milliseconds lsofTotal{0};
    Milliseconds fuserTotal{0};
    for (auto _ : state) {
        const auto start = Clock::now();
        runQuietly(lsof);
        const auto middle = Clock::now();
        runQuietly(fuser);
        const auto end = Clock::now();
        lsofTotal += middle - start;
        fuserTotal += end - middle;
        state.SetIterationTime(std::chrono::duration<double>(end - middle).count());
    }
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["lsof_ms"] = lsofTotal.count() / iterations;
    state.counters["fuser_ms"] = fuserTotal.count() / iterations;
}

void BM_CauseFinder(benchmark::State& state) {
    auto& current = scene(state);
    if (!current.isReady()) {
        state.SkipWithError("needs root to mount tmpfs volumes");
        return;
    }
    ManualExecutor executor;
    const SystemBusyCauseFinder finder(executor, nullptr);
    const auto disk = current.disk();
    std::size_t found = 0;
    for (auto _ : state) {
        found = finder.find(disk, true).size();
    }
    state.counters["causes"] = static_cast<double>(found);
}

// This machine's own mounts: a disk named after the root file system's device.
void BM_CauseFinderOnThisMachine(benchmark::State& state) {
    ManualExecutor executor;
    const SystemBusyCauseFinder finder(executor, nullptr);
    ExternalDisk disk{"attachment:1", "ROOT", std::nullopt, std::nullopt, 1,
                      "vda",          {},     std::nullopt};
    disk.volumes.push_back(DiskVolume{"root", std::nullopt, std::nullopt, "root", "/", std::nullopt,
                                      std::nullopt, "ext4", false});
    std::size_t found = 0;
    for (auto _ : state) {
        found = finder.find(disk, true).size();
    }
    state.counters["causes"] = static_cast<double>(found);
}

} // namespace

BENCHMARK(BM_CauseFinderOnThisMachine)->Unit(benchmark::kMillisecond)->MinTime(1.0);
// {M background processes, F files each, N holders, V volumes}
BENCHMARK(BM_DiagnosisOverhead)
    ->ArgNames({"M", "F", "N", "V"})
    ->Args({1000, 20, 4, 1})
    ->Args({1000, 20, 64, 1})
    ->Args({1000, 20, 4, 3})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0);
BENCHMARK(BM_OneLsofOverAllVolumes)
    ->ArgNames({"M", "F", "N", "V"})
    ->Args({1000, 20, 4, 3})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->MinTime(3.0);
BENCHMARK(BM_DiagnosisBesideLsof)
    ->ArgNames({"M", "F", "N", "V"})
    ->Args({0, 20, 4, 1})
    ->Args({1000, 20, 4, 1})
    ->Args({1000, 20, 64, 1})
    ->Args({1000, 20, 4, 3})
    ->Args({3000, 20, 4, 1})
    ->Args({3000, 20, 4, 3})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->MinTime(3.0);
BENCHMARK(BM_FuserBesideLsof)
    ->ArgNames({"M", "F", "N", "V"})
    ->Args({1000, 20, 4, 1})
    ->Args({3000, 20, 4, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->MinTime(3.0);
BENCHMARK(BM_CauseFinder)
    ->ArgNames({"M", "F", "N", "V"})
    ->Args({0, 20, 4, 3})
    ->Args({1000, 20, 4, 3})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0);
