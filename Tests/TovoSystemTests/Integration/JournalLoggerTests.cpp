#include "TovoSystem/Linux/JournalLogger.hpp"
#include "TovoSystem/Services/ApplicationRegistry.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

namespace tovo::testing {
namespace {

namespace fs = std::filesystem;

const fs::path journalSocket = "/run/systemd/journal/socket";

// Stands in for journald where none runs: binds its socket and reads what
// libsystemd sends, one datagram per entry of "FIELD=value" lines. Its folder, empty
// again afterwards, may stay.
class JournalLoggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!isRoot() || fs::exists(journalSocket)) {
            GTEST_SKIP() << "needs root, and no journal running whose socket is not ours to take";
        }
        fs::create_directories(journalSocket.parent_path());
        socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        journalSocket.native().copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval wait{2, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    }
    void TearDown() override {
        if (socket >= 0) {
            ::close(socket);
            fs::remove(journalSocket);
        }
    }
    // The next entry Tovo wrote; other programs that find the socket are skipped.
    std::string nextEntry() {
        std::string entry;
        while (entry.find("SYSLOG_IDENTIFIER=tovo\n") == std::string::npos) {
            entry.assign(65536, '\0');
            const auto size = ::recv(socket, entry.data(), entry.size(), 0);
            entry.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
            if (size <= 0) {
                return {};
            }
        }
        return entry;
    }

    int socket = -1;
};

TEST_F(JournalLoggerTest, WritesTheMessageWithItsPriorityAndTovosFields) {
    JournalLogger logger;
    logger.log(LogLevel::info, "Eject completed");
    logger.log(LogLevel::error, "Eject failed domain=%s code=42");
    logger.log(LogLevel::debug, "Checking again");

    using ::testing::HasSubstr;
    EXPECT_THAT(nextEntry(),
                AllOf(HasSubstr("MESSAGE=Eject completed\n"), HasSubstr("PRIORITY=6\n"),
                      HasSubstr("TOVO_SUBSYSTEM=" + std::string(tovoApplicationID)),
                      HasSubstr("TOVO_CATEGORY=workflow\n")));
    EXPECT_THAT(nextEntry(), AllOf(HasSubstr("MESSAGE=Eject failed domain=%s code=42\n"),
                                   HasSubstr("PRIORITY=3\n")));
    EXPECT_THAT(nextEntry(), HasSubstr("PRIORITY=7\n"));
}

} // namespace
} // namespace tovo::testing
