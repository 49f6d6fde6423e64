// Holds a file open for writing until it is signalled.
// Usage: holder_write FILE PID-FILE. Gives up by itself after two minutes.
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    const int fd = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0 || write(fd, "draft\n", 6) != 6) {
        return 3;
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
    close(fd);
    return 0;
}
