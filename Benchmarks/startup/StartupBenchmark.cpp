// Cold start to the first painted frame, and peak memory, of Tovo in demo mode
// beside the smallest Qt Widgets window, both offscreen, alternated in one run.
// Budget: Tovo's first frame within 1.5x the minimal window's, peak RSS under 80 MB.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace {

struct Launch {
    double seconds;
    double peakMegabytes;
};

Launch launch(const std::string& program, std::vector<std::string> arguments) {
    std::vector<std::string> environment = {"QT_QPA_PLATFORM=offscreen",
                                            "TOVO_EXIT_AFTER_FIRST_FRAME=1"};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        environment.emplace_back(*variable);
    }
    std::vector<char*> envp;
    for (auto& variable : environment) {
        envp.push_back(variable.data());
    }
    envp.push_back(nullptr);
    arguments.insert(arguments.begin(), program);
    std::vector<char*> argv;
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);

    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv.data(), envp.data()) != 0) {
        return {0, 0};
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    return {elapsed.count(), static_cast<double>(usage.ru_maxrss) / 1024.0};
}

std::vector<Launch> tovoRuns;
std::vector<Launch> minimalRuns;

void record(benchmark::State& state, const Launch& run, std::vector<Launch>& runs) {
    state.SetIterationTime(run.seconds);
    runs.push_back(run);
    state.counters["peak_rss_MB"] = run.peakMegabytes;
}

void BM_TovoDemoFirstFrame(benchmark::State& state) {
    for (auto _ : state) {
        record(state, launch(TOVO_APP_PATH, {"--demo-tovoable"}), tovoRuns);
    }
}

void BM_MinimalWindowFirstFrame(benchmark::State& state) {
    for (auto _ : state) {
        record(state, launch(TOVO_MINIMAL_WINDOW_PATH, {}), minimalRuns);
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

BENCHMARK(BM_MinimalWindowFirstFrame)
    ->UseManualTime()
    ->Iterations(15)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TovoDemoFirstFrame)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    const double tovo = median(tovoRuns, &Launch::seconds);
    const double minimal = median(minimalRuns, &Launch::seconds);
    const double peak = std::ranges::max(tovoRuns, {}, &Launch::peakMegabytes).peakMegabytes;
    std::printf(
        "first frame (median): Tovo %.1f ms, minimal window %.1f ms, ratio %.2f (budget 1.5)\n",
        tovo * 1000, minimal * 1000, minimal > 0 ? tovo / minimal : 0.0);
    std::printf("peak RSS: Tovo %.1f MB (budget 80), minimal window %.1f MB\n", peak,
                median(minimalRuns, &Launch::peakMegabytes));
    return 0;
}
