#include "TovoSystem/Linux/ProcessPin.hpp"

#include <fstream>
#include <iterator>
#include <poll.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace tovo {

ProcessPin::ProcessPin(std::int32_t pid)
    : pid_(pid) {
    if (pid > 0) {
        // A direct system call: this C library's pidfd header lacks C linkage for C++.
        fd_ = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    }
}

ProcessPin::~ProcessPin() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool ProcessPin::isAlive() const {
    if (fd_ < 0) {
        return false;
    }
    // A pidfd becomes readable once the last thread is gone.
    pollfd descriptor{fd_, POLLIN, 0};
    if (::poll(&descriptor, 1, 0) != 0) {
        return false;
    }
    // A leader that exited before its other threads is a zombie (Z) while they run on:
    // what it left open may serve another process by now.
    std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
    const std::string stat{std::istreambuf_iterator<char>(file), {}};
    const auto close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] != 'Z' &&
           stat[close + 2] != 'X';
}

} // namespace tovo
