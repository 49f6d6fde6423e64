// Holds a folder busy by making it its working folder until it is signalled. With a
// third argument it first forks a child that does the same and writes its own pid
// there: a process that leaves a helper behind unless its whole group is stopped.
// Usage: holder_cwd FOLDER PID-FILE [CHILD-PID-FILE]. Gives up by itself after two minutes.
#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

bool writePid(const std::string& pidFile) {
    const std::string temporary = pidFile + ".tmp";
    FILE* file = std::fopen(temporary.c_str(), "w");
    if (file == nullptr) {
        return false;
    }
    std::fprintf(file, "%d\n", static_cast<int>(getpid()));
    std::fclose(file);
    return std::rename(temporary.c_str(), pidFile.c_str()) == 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4 || chdir(argv[1]) != 0) {
        return 2;
    }
    std::string pidFile = argv[2];
    if (argc == 4) {
        const pid_t child = fork();
        if (child < 0) {
            return 3;
        }
        if (child == 0) {
            pidFile = argv[3];
        }
    }
    if (!writePid(pidFile)) {
        return 3;
    }
    for (int second = 0; second < 120; ++second) {
        sleep(1);
    }
    return 0;
}
