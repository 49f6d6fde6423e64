// Holds a file open for writing until it is signalled; with --map, holds it only
// through a shared memory map (the descriptor is closed).
// Usage: holder_write [--map] FILE PID-FILE. Gives up by itself after two minutes.
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

int main(int argc, char** argv) {
    const bool map = argc == 4 && std::strcmp(argv[1], "--map") == 0;
    if (argc != 3 && !map) {
        return 2;
    }
    if (map) {
        ++argv;
    }
    const int fd =
        open(argv[1], map ? O_RDWR | O_CREAT | O_TRUNC : O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0 || write(fd, "draft\n", 6) != 6) {
        return 3;
    }
    if (map) {
        if (mmap(nullptr, 6, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0) == MAP_FAILED) {
            return 3;
        }
        close(fd);
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
    if (!map) {
        close(fd);
    }
    return 0;
}
