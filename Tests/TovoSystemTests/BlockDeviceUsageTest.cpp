#include "TovoSystem/Linux/BlockDeviceUsage.hpp"

#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/sysmacros.h>

namespace tovo {
namespace {

void write(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

struct MountedCase {
    const char* label;
    std::string ownMounts;
    std::string otherMounts;
    std::optional<BlockDeviceUse> expected;
};

class BlockDeviceUsageTest : public ::testing::TestWithParam<MountedCase> {};

// A /proc with ourselves (pid 10, namespace 1), a process sharing our namespace
// (pid 20) and a sandboxed "builder" in namespace 2 (pid 30).
TEST_P(BlockDeviceUsageTest, FindsAMountHereFirstThenInAnotherNamespace) {
    testing::TemporaryFolder proc;
    const auto process = [&](const std::string& pid, const std::string& space,
                             const std::string& mounts, const std::string& command) {
        write(proc.path() / pid / "mountinfo", mounts);
        write(proc.path() / pid / "comm", command + "\n");
        std::filesystem::create_directories(proc.path() / pid / "ns");
        std::filesystem::create_symlink("mnt:[" + space + "]", proc.path() / pid / "ns" / "mnt");
    };
    process("10", "1", GetParam().ownMounts, "tovo");
    process("20", "1", GetParam().otherMounts, "shell"); // never read: our namespace
    process("30", "2", GetParam().otherMounts, "builder");
    std::filesystem::create_directory_symlink("10", proc.path() / "self");

    const BlockDeviceUsage usage(proc.path());
    EXPECT_EQ(usage.mount({{"sdz", makedev(8, 16)}, {"sdz1", makedev(8, 17)}}),
              GetParam().expected);
}

const std::string root = "20 1 8:2 / / rw - ext4 /dev/sda2 rw\n";
const std::string partition = "31 20 8:17 / /media/u/Z\\040Z rw - ext4 /dev/sdz1 rw\n";
const std::string sameMinorOtherMajor = "32 20 9:17 / /srv rw - ext4 /dev/md17 rw\n";

INSTANTIATE_TEST_SUITE_P(
    Mounts, BlockDeviceUsageTest,
    ::testing::Values(MountedCase{"nowhere", root, root + sameMinorOtherMajor, std::nullopt},
                      MountedCase{"here", root + partition, root,
                                  BlockDeviceUse{"sdz1", "/media/u/Z Z", false, std::nullopt,
                                                 std::nullopt}},
                      MountedCase{"only_in_a_sandbox", root, root + partition,
                                  BlockDeviceUse{"sdz1", "/media/u/Z Z", true, 30, "builder"}}),
    [](const auto& info) { return std::string(info.param.label); });

} // namespace
} // namespace tovo
