// A child for stop requests: says "ready" once its signal dispositions are set,
// then lingers. With "ignore-term" it ignores SIGTERM. Gives up after a minute.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "ignore-term") == 0) {
        std::signal(SIGTERM, SIG_IGN);
    }
    std::puts("ready");
    std::fflush(stdout);
    for (int second = 0; second < 60; ++second) {
        sleep(1);
    }
    return 0;
}
