// A child for stop requests: says "ready" once it runs, then lingers for a minute.
#include <cstdio>
#include <unistd.h>

int main() {
    std::puts("ready");
    std::fflush(stdout);
    for (int second = 0; second < 60; ++second) {
        sleep(1);
    }
    return 0;
}
