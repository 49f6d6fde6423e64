// Throughput of the lsof field parser on a large, realistic buffer, beside the
// floor of any parser: a bare scan that only splits the buffer at NUL bytes.
#include "TovoCore/Services/LsofFieldParser.hpp"

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

namespace {

void appendField(std::string& out, char letter, const std::string& value) {
    out.push_back(letter);
    out += value;
    out.push_back('\0');
}

// About 64 MiB of process sets with a mix of current folders, readers and writers,
// and a few pids repeated as they are when several volumes are listed.
const std::string& syntheticOutput() {
    static const std::string buffer = [] {
        std::string out;
        out.reserve(66 << 20);
        const char* commands[] = {"bash", "Files", "rsync", "Virtual Machine Service", "editor"};
        const char* accesses[] = {"r", "w", "u", " "};
        for (int pid = 1000; out.size() < (64u << 20); ++pid) {
            const int effectivePid = (pid % 50 == 0) ? pid - 7 : pid;
            appendField(out, 'p', std::to_string(effectivePid));
            appendField(out, 'R', std::to_string(effectivePid / 3 + 1));
            appendField(out, 'c', commands[pid % 5]);
            appendField(out, 'u', "1000");
            appendField(out, 'L', "user");
            out.push_back('\n');
            appendField(out, 'f', "cwd");
            appendField(out, 'a', " ");
            appendField(out, 't', "DIR");
            appendField(out, 'n', "/media/user/BACKUP DISK/Projects/" + std::to_string(pid));
            out.push_back('\n');
            for (int file = 0; file < 6; ++file) {
                appendField(out, 'f', std::to_string(file + 3));
                appendField(out, 'a', accesses[(pid + file) % 4]);
                appendField(out, 't', "REG");
                appendField(out, 'n',
                            "/media/user/BACKUP DISK/Projects/" + std::to_string(pid) +
                                "/photos/IMG_" + std::to_string(file * 137) + ".jpeg");
                out.push_back('\n');
            }
        }
        return out;
    }();
    return buffer;
}

void BM_LsofFieldParser(benchmark::State& state) {
    const auto& buffer = syntheticOutput();
    const tovo::LsofFieldParser parser;
    for (auto _ : state) {
        auto processes = parser.parse(buffer);
        benchmark::DoNotOptimize(processes.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * buffer.size()));
}
BENCHMARK(BM_LsofFieldParser)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_BareNulScan(benchmark::State& state) {
    const auto& buffer = syntheticOutput();
    for (auto _ : state) {
        std::size_t pieces = 0;
        const char* cursor = buffer.data();
        const char* end = cursor + buffer.size();
        while (cursor < end) {
            const auto* nul = static_cast<const char*>(std::memchr(cursor, '\0', end - cursor));
            ++pieces;
            cursor = nul ? nul + 1 : end;
        }
        benchmark::DoNotOptimize(pieces);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * buffer.size()));
}
BENCHMARK(BM_BareNulScan)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
