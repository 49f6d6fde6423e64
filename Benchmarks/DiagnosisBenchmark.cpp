// The whole diagnosis of a busy tmpfs (runner, scratch files, parsing, /proc
// enrichment) beside the bare lsof command on the same mount: the difference is
// what Tovo adds to lsof itself, and should stay well under 30 ms.
#include "TovoCore/Async/Spawn.hpp"
#include "TovoSystem/Services/LsofBlockerDiagnoser.hpp"
#include "TovoSystem/Services/SystemCommandRunner.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

using namespace tovo;

/// A tmpfs held busy by a few children of this process: two with their working
/// folder there, two writing a file. Set up once, torn down at exit.
class BusyMount {
public:
    BusyMount() {
        char pattern[] = "/tmp/tovo-bench-XXXXXX";
        if (::geteuid() != 0 || ::mkdtemp(pattern) == nullptr) {
            return;
        }
        path_ = pattern;
        if (::mount("tmpfs", pattern, "tmpfs", 0, "size=4m") != 0) {
            return;
        }
        mounted_ = true;
        std::filesystem::create_directories(path_ / "Projects");
        for (int holder = 0; holder < 4; ++holder) {
            startHolder(holder % 2 == 0, path_ / ("file" + std::to_string(holder)));
        }
        ::usleep(100'000); // let the holders reach the mount
    }
    ~BusyMount() {
        for (const auto pid : holders_) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
        if (mounted_) {
            ::umount2(path_.c_str(), MNT_DETACH);
        }
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }

    bool isReady() const { return mounted_; }
    const std::filesystem::path& path() const { return path_; }

private:
    void startHolder(bool inFolder, const std::filesystem::path& file) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            if (inFolder) {
                ::chdir((path_ / "Projects").c_str());
            } else {
                ::open(file.c_str(), O_WRONLY | O_CREAT, 0644);
            }
            for (int second = 0; second < 600; ++second) {
                ::sleep(1);
            }
            ::_exit(0);
        }
        holders_.push_back(pid);
    }

    std::filesystem::path path_;
    bool mounted_ = false;
    std::vector<pid_t> holders_;
};

BusyMount& busyMount() {
    static BusyMount mount;
    return mount;
}

/// lsof with Tovo's arguments, its output thrown away; false when it did not start.
class BareLsof {
public:
    explicit BareLsof(const std::filesystem::path& mount)
        : executable_(LsofBlockerDiagnoser::lsofExecutable())
        , arguments_(LsofBlockerDiagnoser::lsofArguments(mount)) {
        argv_.push_back(const_cast<char*>(executable_.c_str()));
        for (auto& argument : arguments_) {
            argv_.push_back(argument.data());
        }
        argv_.push_back(nullptr);
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~BareLsof() { posix_spawn_file_actions_destroy(&actions_); }

    bool run() {
        pid_t pid = -1;
        if (posix_spawn(&pid, executable_.c_str(), &actions_, nullptr, argv_.data(), environ) !=
            0) {
            return false;
        }
        int status = 0;
        ::waitpid(pid, &status, 0);
        return true;
    }

private:
    std::filesystem::path executable_;
    std::vector<std::string> arguments_;
    std::vector<char*> argv_;
    posix_spawn_file_actions_t actions_;
};

/// The production diagnoser on the mount; the number of blockers, or -1 on failure.
class Diagnosis {
public:
    explicit Diagnosis(const std::filesystem::path& mount)
        : diagnoser_(executor_,
                     std::make_shared<SystemCommandRunner>(executor_,
                                                           SystemCommandRunner::productionTimeout),
                     LsofFieldParser(), std::make_shared<SystemProcessMetadataProvider>(nullptr))
        , disk_{"attachment:1",
                "BENCH",
                std::nullopt,
                std::nullopt,
                1,
                "loop0",
                {DiskVolume{"BENCH", std::nullopt, std::nullopt, "BENCH", mount, std::nullopt,
                            std::nullopt, "tmpfs", false}},
                std::nullopt} {}

    long run() {
        auto result = std::make_shared<long>(-1);
        auto body = [](LsofBlockerDiagnoser& diagnoser, ExternalDisk disk,
                       std::shared_ptr<long> out) -> Task<void> {
            auto task = diagnoser.blockers(std::move(disk));
            const auto blockers = co_await task;
            *out = static_cast<long>(blockers.size());
        };
        const auto handle = spawn(executor_, body(diagnoser_, disk_, result));
        executor_.runUntil([&] { return handle.isDone(); });
        return *result;
    }

private:
    ManualExecutor executor_;
    LsofBlockerDiagnoser diagnoser_;
    ExternalDisk disk_;
};

void BM_BareLsof(benchmark::State& state) {
    if (!busyMount().isReady()) {
        state.SkipWithError("needs root to mount a tmpfs");
        return;
    }
    BareLsof lsof(busyMount().path());
    for (auto _ : state) {
        if (!lsof.run()) {
            state.SkipWithError("lsof did not start");
            break;
        }
    }
}

void BM_Diagnosis(benchmark::State& state) {
    if (!busyMount().isReady()) {
        state.SkipWithError("needs root to mount a tmpfs");
        return;
    }
    Diagnosis diagnosis(busyMount().path());
    long found = 0;
    for (auto _ : state) {
        found = diagnosis.run();
        if (found < 0) {
            state.SkipWithError("the diagnosis failed");
            break;
        }
    }
    state.counters["holders"] = static_cast<double>(found);
}

// Both in turn in every iteration, so that load on the machine hits them alike.
// The time is the diagnosis's; the counters give lsof's and the difference.
void BM_DiagnosisOverheadOverLsof(benchmark::State& state) {
    if (!busyMount().isReady()) {
        state.SkipWithError("needs root to mount a tmpfs");
        return;
    }
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::duration<double, std::milli>;
    BareLsof lsof(busyMount().path());
    Diagnosis diagnosis(busyMount().path());
    Milliseconds lsofTotal{0};
    Milliseconds diagnosisTotal{0};
    for (auto _ : state) {
        const auto start = Clock::now();
        lsof.run();
        const auto middle = Clock::now();
        diagnosis.run();
        const auto end = Clock::now();
        lsofTotal += middle - start;
        diagnosisTotal += end - middle;
        state.SetIterationTime(std::chrono::duration<double>(end - middle).count());
    }
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["lsof_ms"] = lsofTotal.count() / iterations;
    state.counters["diagnosis_ms"] = diagnosisTotal.count() / iterations;
    state.counters["overhead_ms"] = (diagnosisTotal - lsofTotal).count() / iterations;
}

} // namespace

BENCHMARK(BM_BareLsof)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_Diagnosis)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_DiagnosisOverheadOverLsof)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->MinTime(4.0);
