// Ignores SIGTERM and lingers: the stubborn child a stop request cannot end.
// Usage: child_ignore_term PID-FILE. Gives up by itself after a minute.
#include <csignal>
#include <cstdio>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    std::signal(SIGTERM, SIG_IGN);
    const std::string pidFile = argv[1];
    const std::string temporary = pidFile + ".tmp";
    if (FILE* file = std::fopen(temporary.c_str(), "w")) {
        std::fprintf(file, "%d\n", static_cast<int>(getpid()));
        std::fclose(file);
        std::rename(temporary.c_str(), pidFile.c_str());
    }
    std::puts("ignoring SIGTERM");
    std::fflush(stdout);
    for (int second = 0; second < 60; ++second) {
        sleep(1);
    }
    return 0;
}
