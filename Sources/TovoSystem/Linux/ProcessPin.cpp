#include "TovoSystem/Linux/ProcessPin.hpp"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tovo {

ProcessPin::ProcessPin(std::int32_t pid) {
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
    // A pidfd becomes readable when its process exits.
    pollfd descriptor{fd_, POLLIN, 0};
    return ::poll(&descriptor, 1, 0) == 0;
}

} // namespace tovo
