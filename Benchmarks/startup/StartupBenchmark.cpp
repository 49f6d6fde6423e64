// Cold start to the first painted frame, and peak memory, of Tovo in demo mode
// beside the smallest Qt Widgets window, both offscreen. Each iteration launches
// both, back to back in alternating order, and the ratio is taken within each
// pair: a shared machine's speed drifts over seconds, which a ratio of the two
// programs' overall medians would take for a difference between them.
// Budget: Tovo's first frame within 1.5x the minimal window's, peak RSS under 80 MB.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

constexpr int frameDescriptor = 3;

struct Launch {
    double firstFrameSeconds = 0; ///< spawn to the end of the first painted frame
    double exitSeconds = 0;       ///< spawn to the process's end
    double peakMegabytes = 0;
};

std::vector<std::string> childEnvironment() {
    std::vector<std::string> environment = {
        "QT_QPA_PLATFORM=offscreen", "TOVO_EXIT_AFTER_FIRST_FRAME=1",
        "TOVO_FIRST_FRAME_FD=" + std::to_string(frameDescriptor)};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        environment.emplace_back(*variable);
    }
    return environment;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (auto& string : strings) {
        result.push_back(string.data());
    }
    result.push_back(nullptr);
    return result;
}

long long readNanoseconds(int fd) {
    char buffer[32] = {};
    const ssize_t count = read(fd, buffer, sizeof buffer - 1);
    return count > 0 ? std::atoll(buffer) : 0;
}

Launch launch(const std::string& program, std::vector<std::string> arguments) {
    int frame[2];
    if (pipe2(frame, O_CLOEXEC) != 0) {
        return {};
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, frame[1], frameDescriptor);
    std::vector<std::string> environment = childEnvironment();
    arguments.insert(arguments.begin(), program);
    std::vector<char*> envp = pointers(environment);
    std::vector<char*> argv = pointers(arguments);

    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int spawned =
        posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(frame[1]);
    if (spawned != 0) {
        close(frame[0]);
        return {};
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    const auto end = std::chrono::steady_clock::now();
    const long long frameDone = readNanoseconds(frame[0]);
    close(frame[0]);
    // steady_clock is CLOCK_MONOTONIC, the clock the probe reports in.
    const long long started =
        std::chrono::duration_cast<std::chrono::nanoseconds>(start.time_since_epoch()).count();
    const std::chrono::duration<double> exited = end - start;
    return {frameDone > started ? static_cast<double>(frameDone - started) / 1e9 : 0,
            exited.count(), static_cast<double>(usage.ru_maxrss) / 1024.0};
}

std::vector<Launch> tovoRuns;
std::vector<Launch> minimalRuns;

void BM_FirstFrame_TovoBesideMinimalWindow(benchmark::State& state) {
    bool tovoFirst = false;
    for (auto _ : state) {
        tovoFirst = !tovoFirst;
        if (!tovoFirst) {
            minimalRuns.push_back(launch(TOVO_MINIMAL_WINDOW_PATH, {}));
        }
        tovoRuns.push_back(launch(TOVO_APP_PATH, {"--demo-tovoable"}));
        if (tovoFirst) {
            minimalRuns.push_back(launch(TOVO_MINIMAL_WINDOW_PATH, {}));
        }
        state.SetIterationTime(tovoRuns.back().firstFrameSeconds);
        if (tovoRuns.back().firstFrameSeconds <= 0 || minimalRuns.back().firstFrameSeconds <= 0) {
            state.SkipWithError("a program did not report its first frame");
            break;
        }
    }
}

double median(std::vector<Launch> runs, double Launch::*field) {
    if (runs.empty()) {
        return 0;
    }
    std::ranges::sort(runs, {}, field);
    return runs[runs.size() / 2].*field;
}

} // namespace

BENCHMARK(BM_FirstFrame_TovoBesideMinimalWindow)
    ->UseManualTime()
    ->Iterations(41)
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (tovoRuns.empty() || minimalRuns.empty()) {
        return 1;
    }
    const double tovo = median(tovoRuns, &Launch::firstFrameSeconds);
    const double minimal = median(minimalRuns, &Launch::firstFrameSeconds);
    std::vector<double> ratios;
    for (std::size_t i = 0; i < tovoRuns.size() && i < minimalRuns.size(); ++i) {
        ratios.push_back(tovoRuns[i].firstFrameSeconds / minimalRuns[i].firstFrameSeconds);
    }
    std::ranges::sort(ratios);
    const double peak = std::ranges::max(tovoRuns, {}, &Launch::peakMegabytes).peakMegabytes;
    std::printf("first frame (median of %zu): Tovo %.1f ms, minimal window %.1f ms\n",
                tovoRuns.size(), tovo * 1000, minimal * 1000);
    std::printf("ratio within pairs: median %.2f (budget 1.5), quartiles %.2f to %.2f\n",
                ratios[ratios.size() / 2], ratios[ratios.size() / 4],
                ratios[ratios.size() * 3 / 4]);
    std::printf("until exit (median): Tovo %.1f ms, minimal window %.1f ms\n",
                median(tovoRuns, &Launch::exitSeconds) * 1000,
                median(minimalRuns, &Launch::exitSeconds) * 1000);
    std::printf("peak RSS: Tovo %.1f MB (budget 80), minimal window %.1f MB\n", peak,
                median(minimalRuns, &Launch::peakMegabytes));
    return 0;
}
