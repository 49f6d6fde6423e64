#include "TovoSystem/Linux/BoundedFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tovo {

std::optional<std::string> BoundedFile::read(const std::filesystem::path& path, std::size_t limit) {
    // O_NONBLOCK: opening a FIFO for reading would otherwise wait for a writer.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat status {};
    std::optional<std::string> text;
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
        static_cast<std::size_t>(status.st_size) <= limit) {
        text.emplace();
        char buffer[8192];
        while (true) {
            const auto count = ::read(fd, buffer, sizeof buffer);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0 || text->size() + static_cast<std::size_t>(count) > limit) {
                text.reset();
                break;
            }
            if (count == 0) {
                break;
            }
            text->append(buffer, static_cast<std::size_t>(count));
        }
    }
    ::close(fd);
    return text;
}

} // namespace tovo
