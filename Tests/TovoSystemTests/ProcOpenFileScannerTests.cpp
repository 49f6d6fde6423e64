#include "TovoSystem/Linux/ProcOpenFileScanner.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tovo {
namespace {

using Mapping = ProcOpenFileScanner::Mapping;

TEST(ProcOpenFileScanner, ReadsFileMapsWithHexDevicesAndEscapedLineFeeds) {
    const auto maps =
        "55d0c8a00000-55d0c8a02000 r--p 00000000 fd:01 1835 /usr/bin/cat\n"
        "7f0000000000-7f0000001000 rw-s 00000000 08:11 12                         "
        "/media/user/DISK/a b\\012c (deleted)\n"
        "7f0000002000-7f0000003000 rw-p 00000000 00:00 0                          [heap]\n"
        "7f0000004000-7f0000005000 rw-p 00000000 00:00 0\n"
        "garbage\n";
    EXPECT_THAT(ProcOpenFileScanner::parseMaps(maps),
                ::testing::ElementsAre(Mapping{253, 1, "/usr/bin/cat"},
                                       Mapping{8, 17, "/media/user/DISK/a b\nc (deleted)"}));
}

} // namespace
} // namespace tovo
