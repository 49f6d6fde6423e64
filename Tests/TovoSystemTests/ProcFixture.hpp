#pragma once

#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <fstream>

namespace tovo::testing {

/// A folder laid out like /proc, with only the entries a test writes.
class ProcFixture {
public:
    static constexpr long ticksPerSecond = 100;
    static constexpr std::uint64_t bootTime = 1'700'000'000;

    ProcFixture() { write("stat", "cpu  1 2 3 4\nbtime " + std::to_string(bootTime) + "\n"); }

    const std::filesystem::path& root() const { return folder_.path(); }

    /// A readable process: stat, status, comm and exe as the kernel writes them.
    void addProcess(std::int32_t pid, std::int32_t parent, std::string command = "worker",
                    std::uint32_t uid = 1000, std::uint64_t startTicks = 12'345,
                    std::optional<std::string> executable = "/usr/bin/worker") {
        const auto folder = std::to_string(pid) + "/";
        std::filesystem::create_directories(root() / folder);
        write(folder + "stat", statLine(pid, command, parent, startTicks));
        write(folder + "status", "Name:\t" + command + "\nPPid:\t" + std::to_string(parent) +
                                     "\nUid:\t" + std::to_string(uid) + "\t0\t0\t0\n");
        write(folder + "comm", command + "\n");
        if (executable) {
            std::filesystem::create_symlink(*executable, root() / folder / "exe");
        }
    }

    void remove(std::int32_t pid, const char* file) {
        std::filesystem::remove(root() / std::to_string(pid) / file);
    }

    void write(const std::string& relative, const std::string& text) {
        std::ofstream(root() / relative, std::ios::binary) << text;
    }

    static std::string statLine(std::int32_t pid, const std::string& command, std::int32_t parent,
                                std::uint64_t startTicks) {
        return std::to_string(pid) + " (" + command + ") S " + std::to_string(parent) +
               " 4242 4242 34816 4242 4194560 1180 0 0 0 2 1 0 0 20 0 1 0 " +
               std::to_string(startTicks) + " 9334784 1280 18446744073709551615 1 1 0 0\n";
    }

private:
    TemporaryFolder folder_;
};

} // namespace tovo::testing
