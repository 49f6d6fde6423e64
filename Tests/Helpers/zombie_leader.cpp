// Ends its main thread while another thread runs on: the process stays, its leader a
// zombie (Z) until the other thread ends, after thirty seconds. Usage: zombie_leader.
#include <chrono>
#include <pthread.h>
#include <thread>

int main() {
    std::thread([] { std::this_thread::sleep_for(std::chrono::seconds(30)); }).detach();
    pthread_exit(nullptr);
}
