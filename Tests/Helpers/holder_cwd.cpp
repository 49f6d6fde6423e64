// Holds a folder busy by making it its working folder until it is signalled.
// Usage: holder_cwd FOLDER PID-FILE. Gives up by itself after two minutes.
#include <cstdio>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3 || chdir(argv[1]) != 0) {
        return 2;
    }
    const std::string pidFile = argv[2];
    const std::string temporary = pidFile + ".tmp";
    FILE* file = std::fopen(temporary.c_str(), "w");
    if (file == nullptr) {
        return 3;
    }
    std::fprintf(file, "%d\n", static_cast<int>(getpid()));
    std::fclose(file);
    std::rename(temporary.c_str(), pidFile.c_str());
    for (int second = 0; second < 120; ++second) {
        sleep(1);
    }
    return 0;
}
